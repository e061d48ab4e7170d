#include "collection/capture/IntakeIndex.h"

#include "collection/text/WebAddress.h"
#include "retrieval/related/MachineNames.h"
#include "retrieval/related/VersionFamily.h"

namespace nookery {
namespace {

std::optional<Uuid> lookUp(const std::unordered_map<std::string, Uuid>& map,
                           const std::optional<std::string>& key) {
    const auto found = key ? map.find(*key) : map.end();
    if (found == map.end()) return std::nullopt;
    return found->second;
}

std::optional<std::string> announcedFamily(const Path& file) {
    if (isMachineGenerated(file.stem().native())) return std::nullopt;
    return versionFamily(file);
}

}  // namespace

IntakeIndex::IntakeIndex(const CrumbItemList& all) {
    for (auto item = all.rbegin(); item != all.rend(); ++item) add(**item);  // the newest wins
}

void IntakeIndex::add(const CrumbItem& item) {
    if (item.kind == CrumbKind::url && item.urlString) {
        if (const auto address = parseWebAddress(*item.urlString)) {
            links_[address->identity] = item.id;
        }
    }
    if (item.filePath) {
        if (const auto family = announcedFamily(*item.filePath)) families_[*family] = item.id;
    }
}

std::optional<Uuid> IntakeIndex::linkWithIdentity(const std::string& identity) const {
    return lookUp(links_, identity);
}

std::optional<Uuid> IntakeIndex::otherVersionOf(const Path& file) const {
    return lookUp(families_, announcedFamily(file));
}

}  // namespace nookery
