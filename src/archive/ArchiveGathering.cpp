#include "archive/CrumbCompleteArchive.h"
#include "collection/CrumbStore.h"
#include "collection/DefaultsKeys.h"
#include "platform/UserDefaults.h"

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
