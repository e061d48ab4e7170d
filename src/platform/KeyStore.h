#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/Error.h"

namespace nookery {

/// The key store is locked, absent or failing. Never means "no such secret". The description names
/// the store and what to do, never a secret.
class KeyStoreUnavailable : public Error {
  public:
    using Error::Error;
};

/// The per-user store of secrets, addressed by service and account. A secret is any bytes. Any
/// thread. Blocks for a few seconds at most: nobody is asked to unlock it, a locked one is
/// unavailable.
class KeyStore {
  public:
    virtual ~KeyStore() = default;

    /// None when there is no such secret; throws KeyStoreUnavailable when that cannot be known. The
    /// caller wipes what it was given.
    virtual std::optional<std::string> read(std::string_view service, std::string_view account) = 0;
    /// Replaces the secret that is there. Throws KeyStoreUnavailable.
    virtual void write(std::string_view service, std::string_view account,
                       std::string_view secret) = 0;
    /// Every secret with this service and account; nothing there is fine. Throws
    /// KeyStoreUnavailable.
    virtual void remove(std::string_view service, std::string_view account) = 0;
};

}  // namespace nookery
