#pragma once

#include <stop_token>
#include <string>

namespace nookery {

struct FetchedPage {
    std::string body;       ///< undecoded bytes, cut at the fetcher's limit
    std::string mediaType;  ///< as the server said, lower case; empty when it did not
    std::string encoding;   ///< as the server said, such as "utf-8"; empty when it did not
};

/// Fetches one page from the network. Used only when the user asks for it by name.
class WebFetcher {
  public:
    virtual ~WebFetcher() = default;
    /// Follows redirects between http and https only. Throws Error naming the address, or
    /// Cancelled.
    virtual FetchedPage fetch(const std::string& url, std::stop_token stop) = 0;
};

}  // namespace nookery
