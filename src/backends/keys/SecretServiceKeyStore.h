#pragma once

#include <chrono>
#include <memory>

#include "platform/KeyStore.h"

namespace nookery {

/// The desktop's keyring, over the Secret Service. An item's attributes are its service and
/// account, its value is the raw bytes. Connects anew for each call, so that a keyring that is
/// unlocked, locked or restarted meanwhile is seen as it is; a call that is not answered within
/// `limit` is unavailable.
std::unique_ptr<KeyStore> makeSecretServiceKeyStore(
    std::chrono::milliseconds limit = std::chrono::seconds(5));

}  // namespace nookery
