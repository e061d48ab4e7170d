#pragma once

#include <chrono>
#include <cstddef>
#include <memory>

#include "backends/web/AddressScope.h"
#include "platform/WebFetcher.h"

namespace nookery {

struct WebLimits {
    std::size_t maximumByteCount = 8u << 20;  ///< of a page, decompressed; the rest is left out
    std::chrono::milliseconds total{30'000};
    std::chrono::milliseconds connect{10'000};
    int redirects = 8;
};

/// Whether a redirect must not lead to the address.
using IsLocal = bool (*)(const sockaddr& address);

/// Fetches by libcurl, from http and https addresses only, also after a redirect. Checks
/// certificates. A redirect to an address of this computer or its network is refused, whatever
/// name it hides behind, unless the page that was asked for came from one itself. Sends the address
/// and the program's name, no cookies and no stored passwords. Call on the main thread, before
/// other threads start.
std::unique_ptr<WebFetcher> makeCurlWebFetcher(const WebLimits& limits = {},
                                               IsLocal isLocal = &isLocalAddress);

}  // namespace nookery
