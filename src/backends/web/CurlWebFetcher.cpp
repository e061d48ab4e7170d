#include "backends/web/CurlWebFetcher.h"

#include <curl/curl.h>
#include <fmt/format.h>
#include <sys/socket.h>

#include <algorithm>

#include "foundation/Error.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

struct Transfer {
    std::string body;
    std::size_t room = 0;
    bool isCut = false;
    std::stop_token stop;
    IsLocal isLocal = nullptr;
    bool isRedirected = false;  ///< what is asked for now was not typed
    bool beganLocally = false;  ///< what was typed led to this computer or its network
    bool wasRefused = false;
};

/// Asked for each address that a name resolved to, right before it would be connected to: no name
/// can resolve to something else in between.
curl_socket_t openSocket(void* context, curlsocktype, curl_sockaddr* address) {
    auto& transfer = *static_cast<Transfer*>(context);
    if (transfer.isLocal(address->addr)) {
        if (!transfer.isRedirected) transfer.beganLocally = true;
        if (!transfer.beganLocally) {
            transfer.wasRefused = true;
            return CURL_SOCKET_BAD;
        }
    }
    return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

std::size_t receive(char* bytes, std::size_t, std::size_t count, void* context) {
    auto& transfer = *static_cast<Transfer*>(context);
    const std::size_t taken = std::min(count, transfer.room - transfer.body.size());
    transfer.body.append(bytes, taken);
    transfer.isCut = taken < count;
    return taken;  // fewer than were offered end the transfer
}

int checkStop(void* context, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return static_cast<Transfer*>(context)->stop.stop_requested() ? 1 : 0;
}

/// Takes "text/html; charset=UTF-8" apart.
void readContentType(std::string_view header, FetchedPage& page) {
    const std::string lower = lowerCased(toValidUtf8(header));
    page.mediaType = trimmed(std::string_view(lower).substr(0, lower.find(';')));
    const std::size_t charset = lower.find("charset=");
    if (charset == std::string::npos) return;
    std::string_view value = std::string_view(lower).substr(charset + 8);
    value = trimmed(value.substr(0, value.find(';')));
    if (value.starts_with('"')) value.remove_prefix(1);
    if (value.ends_with('"')) value.remove_suffix(1);
    page.encoding = value;
}

class CurlWebFetcher final : public WebFetcher {
  public:
    CurlWebFetcher(const WebLimits& limits, IsLocal isLocal) : limits_(limits), isLocal_(isLocal) {
        if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
            throw Error("The network library could not be started.");
        }
    }
    ~CurlWebFetcher() override { curl_global_cleanup(); }

    FetchedPage fetch(const std::string& url, std::stop_token stop) override {
        const Handle handle(curl_easy_init());
        if (!handle) throw Error("Could not fetch " + url + ": out of memory.");
        Transfer transfer;
        transfer.room = limits_.maximumByteCount;
        transfer.stop = std::move(stop);
        transfer.isLocal = isLocal_;
        prepare(handle.get(), url, transfer);
        const auto deadline = std::chrono::steady_clock::now() + limits_.total;
        for (int followed = 0;; ++followed) {
            perform(handle.get(), url, transfer, deadline);
            const char* next = nullptr;
            curl_easy_getinfo(handle.get(), CURLINFO_REDIRECT_URL, &next);
            if (next == nullptr) return toPage(handle.get(), url, transfer);
            if (followed == limits_.redirects) {
                throw Error("Could not fetch " + url + ": it redirects too often.");
            }
            follow(handle.get(), url, next, transfer);
        }
    }

  private:
    struct Cleanup {
        void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    };
    using Handle = std::unique_ptr<CURL, Cleanup>;

    using Moment = std::chrono::steady_clock::time_point;

    static void perform(CURL* handle, const std::string& url, Transfer& transfer, Moment deadline) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        const long leftMilliseconds = std::max(1L, static_cast<long>(left.count()));
        curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, leftMilliseconds);
        const CURLcode code = curl_easy_perform(handle);
        if (transfer.stop.stop_requested()) throw Cancelled();
        if (code == CURLE_OK || (code == CURLE_WRITE_ERROR && transfer.isCut)) return;
        if (transfer.wasRefused) {
            throw Error("Could not fetch " + url +
                        ": it redirects to an address of this computer or its network, which no "
                        "page of the internet may have looked at.");
        }
        throw Error(fmt::format("Could not fetch {}: {}.", url, curl_easy_strerror(code)));
    }

    /// Makes the next transfer that of the address that the last one redirected to.
    static void follow(CURL* handle, const std::string& url, const std::string& next,
                       Transfer& transfer) {
        transfer.body.clear();
        transfer.isCut = false;
        transfer.isRedirected = true;
        if (curl_easy_setopt(handle, CURLOPT_URL, next.c_str()) != CURLE_OK) {
            throw Error("Could not fetch " + url + ": it redirects to what is no address.");
        }
    }

    void prepare(CURL* handle, const std::string& url, Transfer& transfer) const {
        const auto set = [&](CURLoption option, auto value) {
            if (curl_easy_setopt(handle, option, value) != CURLE_OK) {
                throw Error("Could not fetch " + url +
                            ": libcurl was built without a feature that this needs.");
            }
        };
        set(CURLOPT_URL, url.c_str());
        set(CURLOPT_PROTOCOLS_STR, "http,https");
        // Redirects are followed here, one by one, so that each is looked at.
        set(CURLOPT_FOLLOWLOCATION, 0L);
        set(CURLOPT_OPENSOCKETFUNCTION, &openSocket);
        set(CURLOPT_OPENSOCKETDATA, static_cast<void*>(&transfer));
        set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(limits_.connect.count()));
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_ACCEPT_ENCODING, "");  // whatever the library can decompress
        set(CURLOPT_USERAGENT, "Nookery/" NOOKERY_VERSION " (fetches single pages for one person)");
        set(CURLOPT_WRITEFUNCTION, &receive);
        set(CURLOPT_WRITEDATA, static_cast<void*>(&transfer));
        set(CURLOPT_NOPROGRESS, 0L);
        set(CURLOPT_XFERINFOFUNCTION, &checkStop);
        set(CURLOPT_XFERINFODATA, static_cast<void*>(&transfer));
    }

    static FetchedPage toPage(CURL* handle, const std::string& url, Transfer& transfer) {
        long status = 0;
        curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
        if (status < 200 || status >= 300) {
            throw Error(fmt::format("Could not fetch {}: the server answered {}.", url, status));
        }
        FetchedPage page;
        page.body = std::move(transfer.body);
        const char* header = nullptr;
        curl_easy_getinfo(handle, CURLINFO_CONTENT_TYPE, &header);
        if (header != nullptr) readContentType(header, page);
        return page;
    }

    WebLimits limits_;
    IsLocal isLocal_;
};

}  // namespace

std::unique_ptr<WebFetcher> makeCurlWebFetcher(const WebLimits& limits, IsLocal isLocal) {
    return std::make_unique<CurlWebFetcher>(limits, isLocal);
}

}  // namespace nookery
