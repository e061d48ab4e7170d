#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/Error.h"

namespace nookery {

/// The key store is locked, absent or failing. Never means "no such secret".
class KeyStoreUnavailable : public Error {
  public:
    using Error::Error;
};

/// The per-user store of secrets, addressed by service and account. Any thread; may block while
/// the user is asked to unlock it.
class KeyStore {
  public:
    virtual ~KeyStore() = default;

    /// None when there is no such secret; throws KeyStoreUnavailable when that cannot be known.
    virtual std::optional<std::string> read(std::string_view service, std::string_view account) = 0;
    virtual void write(std::string_view service, std::string_view account,
                       std::string_view secret) = 0;
    /// Nothing there is fine.
    virtual void remove(std::string_view service, std::string_view account) = 0;
};

}  // namespace nookery
