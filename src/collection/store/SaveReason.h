#pragma once

#include <string_view>

namespace nookery {

/// On whose behalf records are saved. It decides what the log says of a failure, and what is shown
/// after one.
enum class SaveReason {
    edit,             ///< a person's change: shown all the same, until the next start
    filenameCleanup,  ///< the same
    undo,             ///< or redo: what could not be saved is not shown
    phone,            ///< the same
};

/// What the log says before the description of the failure.
constexpr std::string_view logPrefixOf(SaveReason reason) {
    return reason == SaveReason::filenameCleanup ? "Crumb filename cleanup save error: "
                                                 : "Crumb SQLite save error: ";
}

/// Whether the person goes on seeing what could not be saved.
constexpr bool isShownUnsaved(SaveReason reason) {
    return reason == SaveReason::edit || reason == SaveReason::filenameCleanup;
}

}  // namespace nookery
