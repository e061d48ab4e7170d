#include "collection/originals/ManagedOriginal.h"

namespace nookery {

std::optional<Path> managedOriginal(const LibraryLayout& layout, const Path& stored) {
    if (!stored.is_absolute() || stored.native().find('\0') != std::string::npos) {
        return std::nullopt;
    }
    Path below = stored.lexically_normal().lexically_relative(layout.items().lexically_normal());
    if (below.filename().empty()) below = below.parent_path();
    if (below.empty() || below == "." || *below.begin() == "..") return std::nullopt;
    return layout.items() / below;
}

std::set<Path> managedOriginals(const LibraryLayout& layout, const CrumbItemList& items) {
    std::set<Path> originals;
    for (const auto& item : items) {
        const auto place = item->filePath ? managedOriginal(layout, *item->filePath) : std::nullopt;
        if (place) originals.insert(*place);
    }
    return originals;
}

bool isAmong(const std::set<Path>& used, const Path& managed, const LibraryLayout& layout) {
    for (Path place = managed; place != layout.items(); place = place.parent_path()) {
        if (used.contains(place)) return true;
    }
    // Paths are ordered name by name, so what lies in a folder follows it.
    const auto inside = used.lower_bound(managed / "");
    return inside != used.end() && inside->native().starts_with(managed.native() + "/");
}

bool liesInItems(FileSystem& files, const LibraryLayout& layout, const Path& managed) {
    const Path folder = managed.parent_path();
    if (folder == layout.items()) return true;
    const auto items = files.resolve(layout.items());
    const auto real = files.resolve(folder);
    return items && real && *real == *items / folder.lexically_relative(layout.items());
}

}  // namespace nookery
