#pragma once

#include <chrono>
#include <cstddef>
#include <memory>

#include "platform/WebFetcher.h"

namespace nookery {

struct WebLimits {
    std::size_t maximumByteCount = 8u << 20;  ///< of a page, decompressed; the rest is left out
    std::chrono::milliseconds total{30'000};
    std::chrono::milliseconds connect{10'000};
    int redirects = 8;
};

/// Fetches by libcurl, from http and https addresses only, also after a redirect. Checks
/// certificates. Sends the address and the program's name, no cookies and no stored passwords. Call
/// on the main thread, before other threads start.
std::unique_ptr<WebFetcher> makeCurlWebFetcher(const WebLimits& limits = {});

}  // namespace nookery
