#include "SealedLink.h"

#include <fmt/format.h>

#include "SealedBox.h"

namespace companion {

std::string SealedLink::opened(const Path& path) const {
    try {
        return open(readFile(path), key_);
    } catch (const Failure& failure) {
        throw Failure(fmt::format("{}: {}", path.native(), failure.what()));
    }
}

Json SealedLink::index() const {
    const Path path = container_.memories() / "memories-index-v1.enc";
    if (!std::filesystem::exists(path)) throw Failure("The computer has published nothing yet.");
    return Json::parse(opened(path));
}

Json SealedLink::memory(const std::string& memoryID) const {
    for (const Json& memory : index()) {
        if (memory.at("id") == memoryID) return memory;
    }
    throw Failure("The published index has no memory " + memoryID + ".");
}

Json SealedLink::attachment(const std::string& memoryID, const Path& target) const {
    const Json found = memory(memoryID);
    if (!found.contains("attachmentName")) throw Failure("That memory has no attachment.");
    const std::string name = found.at("attachmentName");
    const std::string bytes = opened(container_.memories() / name);
    writeFile(target, bytes);
    return {{"attachmentName", name}, {"byteCount", bytes.size()}};
}

Json SealedLink::edit(const std::string& memoryID, const Edit& edit) const {
    const Json base = memory(memoryID);
    const std::string id = newIdentifier();
    Json request{{"id", id},
                 {"memoryID", memoryID},
                 {"createdAt", secondsSince2001()},
                 {"baseTitle", base.at("title")},
                 {"baseDetails", base.at("details")},
                 {"baseBody", base.at("body")}};
    if (edit.title) request["title"] = *edit.title;
    if (edit.details) request["details"] = *edit.details;
    if (edit.body) request["body"] = *edit.body;
    writeFile(container_.edits() / ("edit-" + id + ".enc"), seal(request.dump(), key_));
    return {{"requestID", id}};
}

Json SealedLink::receipt(const std::string& requestID) const {
    const Path path = container_.edits() / ("edit-result-" + requestID + ".enc");
    if (!std::filesystem::exists(path)) {
        throw Failure("The computer has not answered " + requestID + ".");
    }
    return Json::parse(opened(path));
}

void SealedLink::sealFile(const Path& plain, const Path& sealed) const {
    writeFile(sealed, seal(readFile(plain), key_));
}

void SealedLink::openFile(const Path& sealed, const Path& plain) const {
    writeFile(plain, opened(sealed));
}

}  // namespace companion
