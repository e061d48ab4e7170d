#pragma once

#include <exception>
#include <optional>
#include <string>

#include "foundation/Error.h"

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

/// What a run failed with, in words. None when it did not, or when there is nothing to tell: the
/// person stopped it, or no phone is paired.
std::optional<std::string> failureWorthTelling(const std::exception_ptr& failure);

}  // namespace nookery
