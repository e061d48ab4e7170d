#pragma once

#include <map>
#include <string>

#include "archive/ArchiveOperations.h"
#include "archive/ArchiveRestore.h"
#include "foundation/Json.h"
#include "support/TestPlatform.h"

namespace nookery::testing {

/// The files below a folder with their content, and the folders with a slash and none. What SQLite
/// keeps beside a database that is read is left out.
using Tree = std::map<std::string, std::string>;
Tree treeOf(const Path& folder);

/// Fills a library with something of everything that an archive carries: nested, empty, shared and
/// linked originals, a note, a group, a receipt with its original, tags, companions of the
/// database. `flavour` stands in all of it, so that two libraries are told apart.
void makeSampleLibrary(TestPlatform& world, const LibraryLayout& layout, const std::string& flavour,
                       std::size_t largestByteCount = 1'200'000);

CrumbCompleteArchive::Source sourceOf(TestPlatform& world, const LibraryLayout& layout);
// Whole operations. They throw what they fail with.
ArchiveSummary exportArchive(TestPlatform& world, const CrumbCompleteArchive::Source& source,
                             const Path& destination);
ArchiveSummary exportArchive(TestPlatform& world, const Path& destination);
ArchiveSummary checkArchive(TestPlatform& world, const Path& folder);
ArchiveSummary prepareRestore(TestPlatform& world, const LibraryLayout& layout,
                              const Path& archive);

/// What a library holds, by the title of each memory: the content of its original, or "(none)",
/// or "(gone)"; receipts as "receipt"; the tags as "tags".
std::map<std::string, std::string> readLibrary(TestPlatform& world, const LibraryLayout& layout);

std::string readText(const Path& path);
Json readJson(const Path& path);
void writeText(const Path& path, const std::string& text);
/// Changes an archive's manifest.
void editManifest(const Path& archive, const std::function<void(Json&)>& edit);
/// Makes the manifest say what the file holds now.
void relist(TestPlatform& world, const Path& archive, const std::string& name);

/// The description of the Error that the action throws; "" when it throws none.
template <typename Action>
std::string failureOf(const Action& action) {
    try {
        action();
    } catch (const Error& error) {
        return error.description();
    }
    return "";
}

}  // namespace nookery::testing
