#pragma once

#include <memory>

#include "foundation/FileSystem.h"
#include "platform/Clock.h"
#include "platform/Trash.h"

namespace nookery {

/// The trash that desktops share: "Trash" in the user's data folder, or ".Trash-<user id>" at the
/// top of another file system, so that nothing is ever copied. Takes names of any bytes.
/// `userData` is the desktop's own data folder, wherever the library lies.
std::unique_ptr<Trash> makeDesktopTrash(FileSystem& files, const Clock& clock, Path userData);

}  // namespace nookery
