#pragma once

#include <optional>
#include <string>

#include "foundation/Error.h"
#include "platform/work/Outcome.h"

namespace nookery {

/// Why the phone and this computer cannot be brought together.
enum class PairingFailure {
    iCloudUnavailable,
    invalidInvitation,
    invalidResponse,
    notYetAvailable,
    invalidApproval,
};

class PairingError : public Error {
  public:
    explicit PairingError(PairingFailure failure);
    PairingFailure failure() const { return failure_; }

  private:
    PairingFailure failure_;
};

/// Publishing without a paired phone.
class PublishError : public Error {
  public:
    PublishError();
};

/// A file of the link that is no sealed box, or was not sealed with this key, or was changed since.
class UnreadableSealedFile : public Error {
  public:
    UnreadableSealedFile();
};

/// What a run failed with, in words. None when it did not fail (null), or when that no phone is
/// paired is all there is to tell.
std::optional<std::string> failureWorthTelling(const Failure* failure);

}  // namespace nookery
