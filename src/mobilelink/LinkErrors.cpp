#include "mobilelink/LinkErrors.h"

namespace nookery {
namespace {

const char* descriptionOf(PairingFailure failure) {
    switch (failure) {
        case PairingFailure::iCloudUnavailable:
            return "NOOKERY iCloud Drive is unavailable. Confirm iCloud Drive is enabled for both "
                   "apps.";
        case PairingFailure::invalidInvitation:
            return "The Mac pairing QR is invalid. Create a new invitation.";
        case PairingFailure::invalidResponse:
            return "The pairing response was invalid. Start again.";
        case PairingFailure::notYetAvailable:
            return "Waiting for iCloud to transfer pairing information…";
        case PairingFailure::invalidApproval:
            return "Pairing approval could not be verified. Start again.";
    }
    return "";
}

}  // namespace

PairingError::PairingError(PairingFailure failure)
    : Error(descriptionOf(failure)), failure_(failure) {}

PublishError::PublishError()
    : Error("Pair the iPhone with Secure Notes before publishing memories.") {}

UnreadableSealedFile::UnreadableSealedFile()
    : Error("The file is damaged, incomplete, or was not sealed with the paired key.") {}

std::optional<std::string> failureWorthTelling(const Failure* failure) {
    if (failure == nullptr) return std::nullopt;
    try {
        if (failure->cause) std::rethrow_exception(failure->cause);
    } catch (const PublishError&) {
        return std::nullopt;
    } catch (...) {
        // Told in the failure's own words.
    }
    return failure->message;
}

}  // namespace nookery
