#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "mobilelink/SealedBox.h"
#include "platform/KeyStoreServices.h"
#include "platform/Platform.h"

namespace nookery {

/// A key that the steps of one run share. The last owner wipes it.
using SharedKey = std::shared_ptr<const EncryptionKey>;

/// Whether a phone is paired, for a person to read.
struct PairingState {
    bool isPaired = false;
    std::string reason{};  ///< why not
};

/// The base of the link with the phone: the shared folder, the shared key, and the sealing of files
/// with it. The program never makes the key; pairing puts it into the key store. Any thread but the
/// main one should call it: the key store and the cloud folder may be slow.
class NookerySecurePairingTransport {
  public:
    explicit NookerySecurePairingTransport(const Platform& platform)
        : platform_(platform), services_(platform.applicationIdentifier) {}

    /// The folder of that name in "Documents/NookerySecureSyncV1" in the shared container; it may
    /// not exist yet. Throws PairingError while there is no container, CloudFolderIsLink, and
    /// FileError.
    Path sharedFolder(const Path& name) const;

    /// Looks the key up anew each time. Null when no phone is paired, when the key store cannot be
    /// read, and when its content is no key.
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
