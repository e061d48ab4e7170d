#pragma once

#include "platform/PropertyListFormat.h"
#include "platform/UserDefaults.h"

namespace nookery {

/// The library's local, non-secret state that lives in the user defaults, as a snapshot carries it:
/// each of the library's defaults keys that holds something as data, and the format's number.
PropertyList libraryState(const UserDefaults& defaults);

/// Throws Error when the list is not such a state.
void checkLibraryState(const PropertyList& state);

/// Makes the defaults say what the state says; a key that the state lacks is removed. May be
/// repeated after an interruption.
void applyLibraryState(const PropertyList& state, UserDefaults& defaults);

}  // namespace nookery
