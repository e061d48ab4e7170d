#pragma once

#include <memory>

#include "platform/AuthenticatedEncryption.h"

namespace nookery {

/// AES-256-GCM by OpenSSL.
std::unique_ptr<AuthenticatedEncryption> makeOpenSslEncryption();

}  // namespace nookery
