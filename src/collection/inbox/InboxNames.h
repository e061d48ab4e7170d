#pragma once

#include <optional>
#include <string>

#include "foundation/FileSystem.h"
#include "platform/CloudContainer.h"

namespace nookery {

/// Packages that the phone sends are folders with these endings.
enum class PackageKind { note, activity };
std::optional<PackageKind> packageKind(const Path& folderName);

/// Hidden files and a system's own litter: nobody means to keep them, and nobody is told of them.
bool isNobodysMaterial(const Path& name, const CloudContainer& cloud);

/// Still being written, or a placeholder: more of it is to come.
bool isUnfinished(const Path& name, const CloudContainer& cloud);

/// Why an entry of an inbox has to wait, going by its name: still being written, a placeholder or
/// a conflict copy of a sync client. None for a name that says nothing of the kind.
std::optional<std::string> reasonToLeaveAlone(const Path& name, const CloudContainer& cloud);

}  // namespace nookery
