#pragma once

#include <optional>
#include <string>

#include "Files.h"

namespace companion {

/// New values of a memory; what is absent stays.
struct Edit {
    std::optional<std::string> title{};
    std::optional<std::string> details{};
    std::optional<std::string> body{};
};

/// What the phone does with the sealed files. Everything throws Failure.
class SealedLink {
  public:
    SealedLink(const Container& container, std::string key)
        : container_(container), key_(std::move(key)) {}

    /// The memories that the computer published, as it wrote them.
    Json index() const;
    /// Writes a memory's attachment to `target`; answers with its name and size.
    Json attachment(const std::string& memoryID, const Path& target) const;
    /// Asks for a change of the memory as the index shows it; answers with the request's id.
    Json edit(const std::string& memoryID, const Edit& edit) const;
    /// The computer's answer to a request.
    Json receipt(const std::string& requestID) const;

    void sealFile(const Path& plain, const Path& sealed) const;
    void openFile(const Path& sealed, const Path& plain) const;

  private:
    std::string opened(const Path& path) const;
    Json memory(const std::string& memoryID) const;

    const Container& container_;
    std::string key_;
};

}  // namespace companion
