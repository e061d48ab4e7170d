#include <openssl/rand.h>

#include <CLI/CLI.hpp>
#include <functional>
#include <iostream>

#include "PhoneKey.h"
#include "SealedLink.h"
#include "Uploads.h"

namespace companion {
namespace {

constexpr int exitFailed = 1;
constexpr int exitWrongUsage = 2;

/// What the command line said; each command uses its own part.
struct Words {
    std::string cloud, keyStore;
    std::string id, text;
    Path first, second;
    std::vector<Path> files;
    Edit edit;
};

class Phone {
  public:
    explicit Phone(const Words& words) : words_(words), container_(words.cloud) {}

    Json pair() const {
        std::string key(32, '\0');
        if (RAND_bytes(reinterpret_cast<unsigned char*>(key.data()), 32) != 1) {
            throw Failure("There are no random numbers.");
        }
        PhoneKey::at(words_.keyStore)->set(key);
        // The handshake leaves the shared folder behind.
        std::filesystem::create_directories(container_.edits());
        return {{"paired", true}};
    }

    Json unpair() const {
        PhoneKey::at(words_.keyStore)->remove();
        return {{"paired", false}};
    }

    Json index() const { return link().index(); }
    Json attachment() const { return link().attachment(words_.id, words_.first); }
    Json edit() const { return link().edit(words_.id, words_.edit); }
    Json receipt() const { return link().receipt(words_.id); }
    Json note() const { return uploadNote(container_, words_.text, words_.files); }
    Json activity() const { return uploadActivity(container_, words_.first); }
    Json report() const { return uploadReport(container_, words_.first, words_.files); }

    Json seal() const {
        link().sealFile(words_.first, words_.second);
        return {{"path", words_.second.native()}};
    }

    Json open() const {
        link().openFile(words_.first, words_.second);
        return {{"path", words_.second.native()}};
    }

  private:
    SealedLink link() const { return {container_, PhoneKey::at(words_.keyStore)->get()}; }

    const Words& words_;
    Container container_;
};

using Action = Json (Phone::*)() const;

/// Declares the commands; the one that is given ends up in `chosen`.
void declareCommands(CLI::App& app, Words& words, Action& chosen) {
    app.require_subcommand(1);
    app.add_option("--cloud", words.cloud, "the cloud drive's folder")->required();
    app.add_option("--keystore", words.keyStore, "secret-service or file:PATH")->required();
    const auto command = [&](const char* name, const char* help, Action action) {
        CLI::App* const added = app.add_subcommand(name, help);
        added->callback([&chosen, action] { chosen = action; });
        return added;
    };
    command("pair", "puts a new key into the computer's key store", &Phone::pair);
    command("unpair", "takes the key away", &Phone::unpair);
    command("index", "shows what the computer published", &Phone::index);

    auto* attachment = command("attachment", "saves a memory's attachment", &Phone::attachment);
    attachment->add_option("ID", words.id)->required();
    attachment->add_option("OUT", words.first)->required();

    auto* edit = command("edit", "asks for a change of a published memory", &Phone::edit);
    edit->add_option("ID", words.id)->required();
    edit->add_option("--title", words.edit.title);
    edit->add_option("--details", words.edit.details);
    edit->add_option("--body", words.edit.body);

    auto* receipt = command("receipt", "shows the answer to a request", &Phone::receipt);
    receipt->add_option("REQUEST", words.id)->required();

    auto* note = command("note", "uploads a note with photos", &Phone::note);
    note->add_option("TEXT", words.text)->required();
    note->add_option("PHOTO", words.files);

    auto* activity = command("activity", "uploads an activity session", &Phone::activity);
    activity->add_option("FILE", words.first)->required();

    auto* report = command("report", "uploads a field report", &Phone::report);
    report->add_option("FILE", words.first)->required();
    report->add_option("ATTACHMENT", words.files);

    auto* seal = command("seal", "seals any file with the paired key", &Phone::seal);
    seal->add_option("FILE", words.first)->required();
    seal->add_option("SEALED", words.second)->required();

    auto* open = command("open", "opens any sealed file", &Phone::open);
    open->add_option("SEALED", words.first)->required();
    open->add_option("FILE", words.second)->required();
}

int run(int argumentCount, char** arguments) {
    CLI::App app("companion: plays the phone that is paired with Nookery", "companion");
    Words words;
    Action chosen = nullptr;
    declareCommands(app, words, chosen);
    try {
        app.parse(argumentCount, arguments);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : exitWrongUsage;
    }
    const Json answer = (Phone(words).*chosen)();
    std::cout << answer.dump(2, ' ', false, Json::error_handler_t::replace) << std::endl;
    return std::cout ? 0 : exitFailed;
}

}  // namespace
}  // namespace companion

int main(int argumentCount, char** arguments) {
    try {
        return companion::run(argumentCount, arguments);
    } catch (const std::exception& error) {
        std::cerr << "companion: " << error.what() << "\n";
        return companion::exitFailed;
    }
}
