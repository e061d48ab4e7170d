#include "conversation/Conversation.h"

#include <gtest/gtest.h>

namespace nookery::testing {

Conversation::Conversation() : keyStore_("file:" + (nookery_.home / "keys.json").native()) {
    phone_.program = NOOKERY_COMPANION;
    options_.environment = {{"NOOKERY_CLOUD_HOME", cloud_.path()}, {"NOOKERY_KEYSTORE", keyStore_}};
}

Conversation::Conversation(const TestKeyring& keyring) : Conversation() {
    keyStore_ = "secret-service";
    options_.environment["NOOKERY_KEYSTORE"] = keyStore_;
    options_.environment["DBUS_SESSION_BUS_ADDRESS"] = keyring.busAddress();
}

Outcome Conversation::nookery(const std::vector<std::string>& arguments) const {
    return nookery_.run(arguments, options_);
}

Json Conversation::nookeryJson(std::vector<std::string> arguments) const {
    return nookery_.json(std::move(arguments), options_);
}

std::unique_ptr<NookeryProgram::Running> Conversation::startNookery(
    const std::vector<std::string>& arguments) const {
    return nookery_.start(arguments, options_);
}

Outcome Conversation::phone(const std::vector<std::string>& arguments) const {
    std::vector<std::string> words{"--cloud", cloud_.path(), "--keystore", keyStore_};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return phone_.run(words, options_);
}

Json Conversation::phoneJson(const std::vector<std::string>& arguments) const {
    const Outcome outcome = phone(arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    return outcome.json();
}

std::string Conversation::addNote(const std::string& title, const std::string& text) const {
    const Json answer = nookeryJson({"add", "--title", title, "--text", text});
    return answer.at("added").at(0).at("id");
}

Json Conversation::seenByPhone(const std::string& id) const {
    for (const Json& memory : phoneJson({"index"})) {
        if (memory.at("id") == id) return memory;
    }
    return nullptr;
}

Json Conversation::editAndAnswer(const std::vector<std::string>& edit) const {
    std::vector<std::string> words{"edit"};
    words.insert(words.end(), edit.begin(), edit.end());
    const std::string request = phoneJson(words).at("requestID");
    nookeryJson({"link", "receive"});
    return phoneJson({"receipt", request});
}

}  // namespace nookery::testing
