#pragma once

#include <span>
#include <vector>

#include "collection/store/CrumbStore.h"
#include "mobilelink/PhoneEdit.h"

namespace nookery {

/// Decides about each request in turn, a later one seeing what an earlier one changed, and saves
/// what is to be changed in one transaction. Text is never merged. Throws Error, with nothing
/// changed, when it cannot be saved. Main thread.
std::vector<EditReceipt> answerEdits(CrumbStore& store, std::span<const PhoneEdit> edits);

}  // namespace nookery
