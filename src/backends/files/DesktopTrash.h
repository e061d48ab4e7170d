#pragma once

#include <memory>

#include "foundation/FileSystem.h"
#include "platform/Clock.h"
#include "platform/Trash.h"

namespace nookery {

/// The trash that desktops share, in freedesktop.org's layout: "Trash" in `userData`, or
/// ".Trash-<user id>" at the top of another file system, so that nothing is ever copied. Takes
/// names of any bytes and any length. `userData` is the desktop's data folder, wherever the library
/// lies.
///
/// GIO's g_file_trash would not do: it does not say where the file went, takes the data folder from
/// the environment alone, and refuses files on some file systems and those with long names.
std::unique_ptr<Trash> makeDesktopTrash(FileSystem& files, const Clock& clock, Path userData);

}  // namespace nookery
