#include "collection/safety/LibraryState.h"

#include "foundation/Error.h"
#include "records/DefaultsKeys.h"

namespace nookery {
namespace {

constexpr const char* formatKey = "CrumbStateFormat";
constexpr long format = 1;

using Bytes = std::vector<unsigned char>;

}  // namespace

PropertyList libraryState(const UserDefaults& defaults) {
    PropertyList state{{formatKey, format}};
    for (const std::string_view key : libraryDefaultsKeys) {
        if (const auto value = defaults.get(key)) {
            state[std::string(key)] = Bytes(value->begin(), value->end());
        }
    }
    return state;
}

void checkLibraryState(const PropertyList& state) {
    const auto marker = state.find(formatKey);
    if (marker == state.end() || marker->second != PropertyListValue(format)) {
        throw Error("The property list is not a library state of a format that is known.");
    }
    for (const auto& [key, value] : state) {
        if (key != formatKey && !std::holds_alternative<Bytes>(value)) {
            throw Error("The library state holds something else than data under \"" + key + "\".");
        }
    }
}

void applyLibraryState(const PropertyList& state, UserDefaults& defaults) {
    checkLibraryState(state);
    for (const std::string_view key : libraryDefaultsKeys) {
        const auto found = state.find(std::string(key));
        if (found == state.end()) {
            defaults.remove(key);
        } else {
            const Bytes& bytes = std::get<Bytes>(found->second);
            defaults.set(key, std::string(bytes.begin(), bytes.end()));
        }
    }
}

}  // namespace nookery
