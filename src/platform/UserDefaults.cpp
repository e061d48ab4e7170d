#include "platform/UserDefaults.h"

#include <fmt/format.h>

namespace nookery {

NoEntriesError::NoEntriesError(std::string_view key)
    : DefaultsError(fmt::format("The setting {} is damaged: it should be a JSON object.", key)) {}

}  // namespace nookery
