#pragma once

#include <functional>
#include <span>
#include <string_view>

#include "foundation/FileSystem.h"

namespace nookery {

/// Replaces `path` with `content` so that at every moment, also across a power cut, a reader finds
/// the old content or the new one, whole: temporary file in the same folder, every write checked,
/// sync, close checked, rename, sync of the folder. On failure the old content stays, the
/// temporary file is removed where that is still possible, and FileError is thrown.
void writeDurably(FileSystem& files, const Path& path, std::string_view content);

/// As `writeDurably`, for content that is made piece by piece: `write` fills the new file. What it
/// throws is thrown here, with the old content kept.
void replaceDurably(FileSystem& files, const Path& path,
                    const std::function<void(WritableFile&)>& write);

/// Prefix of the temporary names used here. A file so named that is there when the program starts
/// is left over from an interrupted write.
inline constexpr std::string_view temporaryPrefix = ".nookery-tmp-";

/// A name beside `path` that nothing else uses, short enough for every file system.
Path temporaryBeside(const Path& path);

/// Copies `from` into a new file `to` (which must not exist), handing every chunk to `observe` as
/// it passes, and syncs it. On failure `to` is removed and FileError thrown; the caller syncs the
/// folder. `observe` may throw, with the same effect.
void copyNewFile(FileSystem& files, const Path& from, const Path& to,
                 const std::function<void(std::span<const std::byte>)>& observe);

}  // namespace nookery
