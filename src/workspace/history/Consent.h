#pragma once

#include <functional>

#include "workspace/history/Transition.h"

namespace nookery {

enum class Consent { none, given };

/// Something would be lost: nothing was changed. The description says what.
class ConsentNeeded : public Error {
  public:
    using Error::Error;
};

/// Throws Error where the person has not agreed to what would be done.
using ConsentCheck = std::function<void(const UndoPreview&)>;

/// Throws ConsentNeeded where something would be lost and no consent is given.
ConsentCheck consentCheck(Consent consent);
/// For a person who has seen this preview. Throws where another step has come in its place since,
/// or something else would be lost.
ConsentCheck consentCheck(const UndoPreview& agreed);

}  // namespace nookery
