#pragma once

#include <span>
#include <string>
#include <vector>

#include "foundation/FileSystem.h"
#include "foundation/Json.h"
#include "foundation/Uuid.h"

namespace nookery {

/// JSON in the binary form of RFC 8949, which keeps bytes as they are and numbers exact.
std::vector<std::byte> toCompactBytes(const Json& json);
/// Throws JsonError.
Json fromCompactBytes(std::span<const std::byte> bytes);

/// Runs what reads a document, and throws JsonError for whatever does not fit.
template <typename Read>
auto readingDocument(const Read& read) {
    try {
        return read();
    } catch (const nlohmann::json::exception& error) {
        throw JsonError(std::string("A step of the history is damaged: ") + error.what());
    }
}

Json toBinary(std::span<const std::byte> bytes);
std::vector<std::byte> bytesOf(const Json& binary);
Json toBinary(const Path& path);
Path pathOf(const Json& binary);
/// Throws JsonError for text that is no identifier.
Uuid uuidOf(const Json& text);
/// All of them together, sixteen bytes each.
Json toBinary(const std::vector<Uuid>& ids);
std::vector<Uuid> uuidsOf(const Json& binary);

}  // namespace nookery
