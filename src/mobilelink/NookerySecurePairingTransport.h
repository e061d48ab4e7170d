#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "mobilelink/SealedBox.h"
#include "platform/KeyStoreServices.h"
#include "platform/Platform.h"

namespace nookery {

/// A key that the steps of one run share; the last of them wipes it.
using SharedKey = std::shared_ptr<const EncryptionKey>;

/// Whether a phone is paired, for a person to read.
struct PairingState {
    bool isPaired = false;
    std::string reason{};  ///< why not
};

/// What lies beneath the link with the phone: where the two meet, the key that they share, and how
/// a file is sealed with it. The program never makes that key: pairing puts it into the key store.
/// Any thread, but no window should wait: the key store and the cloud folder may be slow.
class NookerySecurePairingTransport {
  public:
    explicit NookerySecurePairingTransport(const Platform& platform)
        : platform_(platform), services_(platform.applicationIdentifier) {}

    /// "Documents/NookerySecureSyncV1" in the shared container; it may not exist yet. Throws
    /// PairingError while there is no container.
    Path sharedFolder() const;

    /// Looked up anew each time. Null for every reason that there may be: no phone is paired, the
    /// key store cannot be read, or what it holds is no key.
    SharedKey pairedKey() const;
    PairingState pairingState() const;

    std::string seal(std::string_view plain, const EncryptionKey& key) const {
        return sealBox(platform_.encryption, key, plain);
    }
    /// Throws UnreadableSealedFile.
    std::string open(std::string_view box, const EncryptionKey& key) const {
        return openBox(platform_.encryption, key, box);
    }

  private:
    std::optional<EncryptionKey> readKey() const;

    Platform platform_;
    KeyStoreServices services_;
};

}  // namespace nookery
