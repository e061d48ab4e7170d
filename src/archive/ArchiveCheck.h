#pragma once

#include <functional>
#include <string>

#include "archive/ArchiveManifest.h"
#include "archive/ArchiveProgress.h"
#include "archive/DigestedFiles.h"
#include "platform/Platform.h"

namespace nookery {

/// Holds an archive against itself, changing nothing and needing no library: the manifest, every
/// listed file's place, size and digest, and both databases. Everything in the archive counts as
/// hostile. Throws RestoreError in the words that the user is shown, FileError for what cannot be
/// read, or Cancelled. The work of `beginArchiveCheck`; any one thread.
ArchiveSummary checkArchive(const Platform& platform, const Path& folder,
                            const OperationControl& control);

/// The manifest of the archive in `folder`. Throws RestoreError or FileError.
ArchiveContents readArchiveManifest(FileSystem& files, const Path& folder);

/// How a listed file is read: from where it lies, under its listed name without detours.
using ReadListedFile = std::function<FileContent(const Path& place, const std::string& name)>;

/// Checks every listed file: a plain file inside the archive that no link leads to, named once, of
/// the listed size and digest. `read` is called for each and may copy the file. Throws
/// RestoreError.
ArchiveSummary checkListedFiles(FileSystem& files, const Path& folder,
                                const ArchiveContents& contents, const ReadListedFile& read);

/// A path relative to the archive without detours ("a/./b", "a//b", "a/x/../b" all become "a/b");
/// none for one that is absolute, leads outside, or can name no file.
std::optional<std::string> withoutDetours(const std::string& relativePath);

/// Checks the listed databases in an archive's folder; the collection's must be among them. Throws
/// RestoreError.
void checkArchivedDatabases(const Path& folder, const ArchiveContents& contents);

/// Begins a phase that goes through all listed files.
void beginListed(DigestedFiles& digested, ArchiveProgress::Phase phase,
                 const ArchiveContents& contents);

/// Whether the manifest lists a file of this name.
bool listsFile(const ArchiveContents& contents, std::string_view name);

/// The local state in an archive's folder, by defaults key; empty when the manifest lists none.
/// Throws RestoreError when it is not what it should be.
std::map<std::string, std::string> readLocalState(FileSystem& files, const Path& folder,
                                                  const ArchiveContents& contents);

}  // namespace nookery
