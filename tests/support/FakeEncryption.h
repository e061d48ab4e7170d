#pragma once

#include "platform/AuthenticatedEncryption.h"

namespace nookery::testing {

/// Keeps nothing secret, but behaves as encryption does: other bytes under another key or nonce, no
/// plain byte in sight, and a tag that any changed bit breaks.
class FakeEncryption final : public AuthenticatedEncryption {
  public:
    EncryptionNonce randomNonce() const override;
    std::unique_ptr<SealingStream> seal(const EncryptionKey& key,
                                        const EncryptionNonce& nonce) const override;
    std::unique_ptr<OpeningStream> open(const EncryptionKey& key,
                                        const EncryptionNonce& nonce) const override;
};

}  // namespace nookery::testing
