#include "backends/reader/ReadableTypes.h"

#include <algorithm>
#include <array>

namespace nookery {
namespace {

constexpr std::array<std::string_view, 10> documents{
    "application/pdf",
    "application/vnd.openxmlformats-officedocument.wordprocessingml.document",
    "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet",
    "application/vnd.openxmlformats-officedocument.presentationml.presentation",
    "application/vnd.oasis.opendocument.text",
    "application/vnd.oasis.opendocument.presentation",
    "application/vnd.oasis.opendocument.spreadsheet",
    "application/epub+zip",
    "application/rtf",
    "message/rfc822"};

/// Formats that run scripts or fetch other files are not among them.
constexpr std::array<std::string_view, 16> images{"image/jpeg",
                                                  "image/png",
                                                  "image/webp",
                                                  "image/tiff",
                                                  "image/gif",
                                                  "image/bmp",
                                                  "image/x-ms-bmp",
                                                  "image/vnd.microsoft.icon",
                                                  "image/x-icon",
                                                  "image/x-tga",
                                                  "image/x-portable-bitmap",
                                                  "image/x-portable-greymap",
                                                  "image/x-portable-pixmap",
                                                  "image/heic",
                                                  "image/heif",
                                                  "image/avif"};

template <std::size_t count>
bool isAmong(const std::array<std::string_view, count>& types, const ContentType& type) {
    return std::find(types.begin(), types.end(), type.mediaType) != types.end();
}

}  // namespace

bool isReadableDocument(const ContentType& type) { return isAmong(documents, type); }

bool isReadableImage(const ContentType& type) { return isAmong(images, type); }

bool isReadableMedia(const ContentType& type) {
    // Playlists are no media.
    if (type.mediaType.find("mpegurl") != std::string::npos) return false;
    return type.mediaType.starts_with("audio/") || type.mediaType.starts_with("video/");
}

}  // namespace nookery
