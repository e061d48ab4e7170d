#include "archive/CrumbCompleteArchive.h"
#include "collection/store/CrumbStore.h"
#include "platform/UserDefaults.h"
#include "records/DefaultsKeys.h"

namespace nookery {

CrumbCompleteArchive::Source CrumbCompleteArchive::gather(const CrumbStore& store,
                                                          const UserDefaults& defaults) {
    Source source{.items = *store.items(), .groups = *store.groups(), .localState = {}};
    for (const std::string_view key : libraryDefaultsKeys) {
        if (auto bytes = defaults.get(key)) source.localState[std::string(key)] = *bytes;
    }
    return source;
}

}  // namespace nookery
