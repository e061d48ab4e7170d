#include "mobilelink/NookerySecurePairingTransport.h"

#include "mobilelink/LinkErrors.h"
#include "platform/CloudContainer.h"
#include "platform/CloudPaths.h"
#include "platform/KeyStore.h"

namespace nookery {

Path NookerySecurePairingTransport::sharedFolder(const Path& name) const {
    const CloudLookup lookup = platform_.cloud.locate();
    if (!lookup.container) throw PairingError(PairingFailure::iCloudUnavailable);
    return nookery::sharedFolder(platform_.files, *lookup.container,
                                 Path("Documents/NookerySecureSyncV1") / name);
}

/// Throws KeyStoreUnavailable.
std::optional<EncryptionKey> NookerySecurePairingTransport::readKey() const {
    auto secret = platform_.keyStore.read(services_.pairedKey(), pairedKeyAccount);
    if (!secret) return std::nullopt;
    auto key = EncryptionKey::fromBytes(*secret);
    wipe(*secret);
    return key;
}

SharedKey NookerySecurePairingTransport::pairedKey() const try {
    auto key = readKey();
    return key ? std::make_shared<const EncryptionKey>(std::move(*key)) : nullptr;
} catch (const Error&) {
    return nullptr;
}

PairingState NookerySecurePairingTransport::pairingState() const try {
    if (readKey()) return {.isPaired = true};
    return {.reason = "No phone is paired with this computer."};
} catch (const Error& error) {
    return {.reason = error.description()};
}

}  // namespace nookery
