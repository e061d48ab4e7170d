#pragma once

#include <memory>

#include "platform/ContentDigest.h"

namespace nookery {

/// SHA-256 by OpenSSL.
std::unique_ptr<ContentDigester> makeOpenSslDigester();

}  // namespace nookery
