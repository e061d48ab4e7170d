#pragma once

#include <functional>
#include <string>

#include "foundation/FileSystem.h"

namespace nookery {

/// The name an original is given in `Items`, made from the source's own name of any bytes: valid
/// UTF-8 without control characters, at most 255 bytes, extension and leading dot kept, never one
/// of the program's temporary names.
Path originalName(const Path& sourceName);

/// `wished` when it is free, else one with " (2)", " (3)" and so on before the extension, the
/// stem cut where the name would grow past 255 bytes. Asks a number of times that grows with the
/// logarithm of the names taken, so that thousands of files of one name stay cheap; where earlier
/// numbers have become free again it may pick a later one.
Path freeName(const Path& wished, const std::function<bool(const Path&)>& isTaken);

/// How a captured file is called: its name without the extension.
std::string titleFromFileName(const Path& sourceName);

}  // namespace nookery
