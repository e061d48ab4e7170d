#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace nookery {

/// Whether a title looks as if a camera, a scanner or a program had made it up: a capture name of
/// our own, a UUID, "IMG_4821", a long digit or hex suffix, nothing but hex digits. Any thread.
bool isMachineGenerated(std::string_view title);

/// "photo", "video", "note", "file", "audio", "image" or "document" for a title of the form
/// Crumb-Photo-2024-05-01-123456-0A1B2C3D; none for any other title.
std::optional<std::string> captureNameKind(std::string_view title);

}  // namespace nookery
