#pragma once

#include <span>
#include <vector>

#include "collection/store/CrumbStore.h"
#include "mobilelink/PhoneEdit.h"

namespace nookery {

/// Decides about each request in turn and saves all changes in one transaction. A later request
/// sees the changes of an earlier one. Text is never merged. Throws Error when the changes cannot
/// be saved; then nothing has changed. Main thread.
std::vector<EditReceipt> answerEdits(CrumbStore& store, std::span<const PhoneEdit> edits);

}  // namespace nookery
