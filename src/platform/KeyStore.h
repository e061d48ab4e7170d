#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/Error.h"

namespace nookery {

/// The key store is locked, absent or failing. This never means "no such secret". The description
/// names the store and says what to do; it never holds a secret.
class KeyStoreUnavailable : public Error {
  public:
    using Error::Error;
};

/// The per-user store of secrets, addressed by service and account. A secret is any bytes. Any
/// thread. Blocks for a few seconds at most: it asks nobody to unlock a locked store, but counts it
/// as unavailable. Every function that reaches for a secret throws KeyStoreUnavailable when it
/// cannot do what it says.
class KeyStore {
  public:
    virtual ~KeyStore() = default;

    /// Where the secrets lie, for the person: part of a sentence.
    virtual std::string place() const = 0;

    /// None only when it is certain that there is no such secret. The caller wipes what it was
    /// given.
    virtual std::optional<std::string> read(std::string_view service, std::string_view account) = 0;
    /// Replaces the secret that is there.
    virtual void write(std::string_view service, std::string_view account,
                       std::string_view secret) = 0;
    /// Removes every secret with this service and one of these accounts; nothing there is fine.
    /// Looks at the service once, however many accounts are named. When it throws, some may be
    /// gone.
    virtual void remove(std::string_view service, const std::vector<std::string>& accounts) = 0;
};

}  // namespace nookery
