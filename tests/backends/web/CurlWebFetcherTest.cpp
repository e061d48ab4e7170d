#include "backends/web/CurlWebFetcher.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <map>
#include <thread>

#include "backends/BothWays.h"
#include "foundation/Error.h"

namespace nookery {
namespace {

/// Answers each path with fixed bytes, one connection at a time, on a free port of the loopback.
class TinyServer {
  public:
    explicit TinyServer(std::map<std::string, std::string> answers) : answers_(std::move(answers)) {
        ::setenv("no_proxy", "127.0.0.1", 1);
        socket_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        if (::bind(socket_, generic, length) != 0 || ::listen(socket_, 8) != 0 ||
            ::getsockname(socket_, generic, &length) != 0) {
            throw std::runtime_error("no loopback socket");
        }
        port_ = ntohs(address.sin_port);
        thread_ = std::jthread([this](std::stop_token stop) { serve(stop); });
    }
    ~TinyServer() {
        thread_.request_stop();
        thread_.join();
        ::close(socket_);
    }

    std::string url(const std::string& path) const {
        return "http://127.0.0.1:" + std::to_string(port_) + path;
    }
    std::string lastRequest() const { return request_; }

  private:
    void serve(const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            pollfd waiting{socket_, POLLIN, 0};
            if (::poll(&waiting, 1, 20) <= 0) continue;
            const int connection = ::accept(socket_, nullptr, nullptr);
            answer(connection);
            ::shutdown(connection, SHUT_WR);
            ::close(connection);
        }
    }
    void answer(int connection) {
        char buffer[4096];
        const ssize_t count = ::recv(connection, buffer, sizeof buffer, 0);
        request_ = std::string(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
        const std::size_t start = request_.find(' ') + 1;
        const auto found = answers_.find(request_.substr(start, request_.find(' ', start) - start));
        const std::string text =
            found == answers_.end() ? "HTTP/1.0 404 No\r\n\r\n" : found->second;
        ::send(connection, text.data(), text.size(), MSG_NOSIGNAL);
    }

    std::map<std::string, std::string> answers_;
    int socket_ = -1;
    int port_ = 0;
    std::string request_;
    std::jthread thread_;
};

std::string page(const std::string& headers, const std::string& body) {
    return "HTTP/1.0 200 OK\r\n" + headers + "\r\n" + body;
}

std::string failureOf(WebFetcher& fetcher, const std::string& url) {
    try {
        fetcher.fetch(url, {});
        return "";
    } catch (const Error& error) {
        return error.description();
    }
}

class WebFetcherTest : public ::testing::TestWithParam<testing::Way> {
  protected:
    std::unique_ptr<WebFetcher> fetcher = GetParam() == testing::Way::direct
                                              ? makeCurlWebFetcher()
                                              : makeIsolatedWebFetcher(testing::testReaders());
};
NOOKERY_BOTH_WAYS(WebFetcherTest);

TEST_P(WebFetcherTest, FetchesFollowsRedirectsAndSaysWhatTheServerSaid) {
    const TinyServer server({{"/page", page("Content-Type: Text/HTML; charset=\"Windows-1252\"\r\n"
                                            "Set-Cookie: a=b\r\n",
                                            "<p>caf\xE9")},
                             {"/moved", "HTTP/1.0 301 Moved\r\nLocation: /page\r\n\r\n"}});
    const FetchedPage fetched = fetcher->fetch(server.url("/moved"), {});
    EXPECT_EQ(fetched.body, "<p>caf\xE9");
    EXPECT_EQ(fetched.mediaType, "text/html");
    EXPECT_EQ(fetched.encoding, "windows-1252");
    fetcher->fetch(server.url("/page"), {});
    EXPECT_NE(server.lastRequest().find("User-Agent: Nookery/"), std::string::npos);
    EXPECT_EQ(server.lastRequest().find("Cookie"), std::string::npos);
}

TEST_P(WebFetcherTest, RefusesOtherSchemesLoopsAndErrors) {
    const TinyServer server(
        {{"/file", "HTTP/1.0 302 Found\r\nLocation: file:///etc/passwd\r\n\r\n"},
         {"/loop", "HTTP/1.0 302 Found\r\nLocation: /loop\r\n\r\n"}});
    for (const std::string& url : {server.url("/file"), server.url("/loop"), server.url("/nothing"),
                                   std::string("file:///etc/passwd")}) {
        EXPECT_NE(failureOf(*fetcher, url).find(url), std::string::npos) << url;
    }
    EXPECT_NE(failureOf(*fetcher, server.url("/nothing")).find("404"), std::string::npos);
}

TEST(CurlWebFetcher, NoPageOfTheInternetLeadsToThisComputerOrItsNetwork) {
    const auto isLocal = [](const std::string& text) {
        sockaddr_storage place{};
        in_addr four{};
        if (::inet_pton(AF_INET, text.c_str(), &four) == 1) {
            auto* address = reinterpret_cast<sockaddr_in*>(&place);
            address->sin_family = AF_INET;
            address->sin_addr = four;
        } else {
            auto* address = reinterpret_cast<sockaddr_in6*>(&place);
            address->sin6_family = AF_INET6;
            EXPECT_EQ(::inet_pton(AF_INET6, text.c_str(), &address->sin6_addr), 1) << text;
        }
        return isLocalAddress(reinterpret_cast<const sockaddr&>(place));
    };
    for (const char* local : {"127.0.0.1",
                              "127.9.9.9",
                              "0.0.0.0",
                              "10.1.2.3",
                              "172.16.0.1",
                              "172.31.255.255",
                              "192.168.0.1",
                              "169.254.169.254",
                              "100.64.0.1",
                              "224.0.0.1",
                              "255.255.255.255",
                              "::",
                              "::1",
                              "::ffff:127.0.0.1",
                              "::ffff:192.168.1.1",
                              "64:ff9b::10.0.0.1",
                              "2002:7f00:1::",
                              "::127.0.0.1",
                              "fe80::1",
                              "fd00::1",
                              "fec0::1",
                              "ff02::1",
                              "2001:0:1::1"}) {
        EXPECT_TRUE(isLocal(local)) << local;
    }
    for (const char* open :
         {"93.184.216.34", "172.32.0.1", "172.15.255.255", "100.128.0.1", "2606:2800:220:1::1",
          "::ffff:93.184.216.34", "2001:4860:4860::8888"}) {
        EXPECT_FALSE(isLocal(open)) << open;
    }

    const TinyServer server(
        {{"/inwards", "HTTP/1.0 302 Found\r\nLocation: http://127.0.0.2:9/\r\n\r\n"},
         {"/by-name", "HTTP/1.0 302 Found\r\nLocation: /inwards\r\n\r\n"}});
    const auto fetcher = makeCurlWebFetcher({}, [](const sockaddr& address) {
        const auto& four = reinterpret_cast<const sockaddr_in&>(address);
        return four.sin_addr.s_addr !=
               htonl(INADDR_LOOPBACK);  // the server stands for the internet
    });
    for (const char* path : {"/inwards", "/by-name"}) {
        EXPECT_NE(failureOf(*fetcher, server.url(path)).find("of this computer"),
                  std::string::npos);
    }
    EXPECT_EQ(failureOf(*makeCurlWebFetcher(), server.url("/inwards")).find("of this computer"),
              std::string::npos)
        << "what was typed is one itself";
}

TEST(CurlWebFetcher, KeepsItsLimitsAndStopsWhenAsked) {
    const TinyServer server({{"/long", page("", std::string(100'000, 'x'))},
                             {"/short", page("Content-Length: 1000\r\n", "x")}});
    const auto fetcher = makeCurlWebFetcher({.maximumByteCount = 1000});
    EXPECT_EQ(fetcher->fetch(server.url("/long"), {}).body.size(), 1000u);
    EXPECT_NE(failureOf(*fetcher, server.url("/short")), "") << "the connection broke off";
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(fetcher->fetch(server.url("/long"), stop.get_token()), Cancelled);

    // Connections to a server that never answers end by the clock.
    const int silent = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(::bind(silent, reinterpret_cast<sockaddr*>(&address), length), 0);
    ASSERT_EQ(::listen(silent, 1), 0);
    ASSERT_EQ(::getsockname(silent, reinterpret_cast<sockaddr*>(&address), &length), 0);
    const auto impatient = makeCurlWebFetcher({.total = std::chrono::milliseconds(100)});
    const std::string url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/";
    EXPECT_NE(failureOf(*impatient, url).find("Timeout"), std::string::npos);
    ::close(silent);
}

}  // namespace
}  // namespace nookery
