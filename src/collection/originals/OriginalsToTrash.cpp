#include "collection/originals/OriginalsToTrash.h"

#include <algorithm>
#include <unordered_set>

#include "collection/originals/ManagedOriginal.h"
#include "collection/originals/MemoryRemoval.h"
#include "platform/Log.h"
#include "platform/Problem.h"

namespace nookery {
namespace {

constexpr const char* stateKey = "originals-to-trash";

void forgetFacts(Sidecar& sidecar, const Path& relativePath) {
    std::vector<Path> facts;
    for (const auto& fact : sidecar.originalsAt(relativePath)) facts.push_back(fact.relativePath);
    sidecar.forgetOriginals(facts);
}

}  // namespace

/// Each ends with a byte that no path has.
std::vector<Path> OriginalsToTrash::all() {
    const std::string noted = sidecar_.state(stateKey).value_or("");
    std::vector<Path> paths;
    for (std::size_t begin = 0; begin < noted.size();) {
        const std::size_t end = noted.find('\0', begin);
        paths.emplace_back(noted.substr(begin, end - begin));
        if (end == std::string::npos) break;
        begin = end + 1;
    }
    return paths;
}

void OriginalsToTrash::set(const std::vector<Path>& paths) {
    if (paths.empty()) return sidecar_.removeState(stateKey);
    std::string noted;
    for (const Path& path : paths) noted += path.native() + '\0';
    sidecar_.setState(stateKey, noted);
}

void OriginalsToTrash::add(std::span<const Path> relativePaths) {
    std::vector<Path> paths = all();
    paths.insert(paths.end(), relativePaths.begin(), relativePaths.end());
    set(paths);
}

void OriginalsToTrash::remove(std::span<const Path> relativePaths) {
    std::vector<Path> paths = all();
    if (paths.empty()) return;
    const std::unordered_set<std::string> gone(relativePaths.begin(), relativePaths.end());
    std::erase_if(paths, [&](const Path& path) { return gone.contains(path.native()); });
    set(paths);
}

void finishInterruptedRemovals(const Platform& platform, const LibraryLayout& layout,
                               Sidecar& sidecar, const std::function<CrumbItemList()>& readAll) {
    OriginalsToTrash noted(sidecar);
    const std::vector<Path> waiting = noted.all();
    if (waiting.empty()) return;
    const auto kept = managedOriginals(layout, readAll());
    for (const Path& relativePath : waiting) {
        const Path place = layout.library() / relativePath;
        // A note that names nothing below `Items` is dropped: nothing outside is ever moved.
        const auto original = managedOriginal(layout, place);
        if (original && !isAmong(kept, *original, layout) &&
            liesInItems(platform.files, layout, *original)) {
            disposeOfOriginal(*original, OriginalDisposal::moveToTrash, platform);
            if (originalsThatAreGone({*original}, platform).empty()) continue;
            forgetFacts(sidecar, relativePath);
        }
        platform.log.mended({ProblemKind::removal, place, {}});
        noted.remove({&relativePath, 1});
    }
}

}  // namespace nookery
