#include "backends/documents/PdfService.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "backends/documents/DocumentFormatReaders.h"
#include "backends/documents/PdfPages.h"
#include "platform/PageReader.h"

namespace nookery {
namespace {

constexpr rlim_t mostSeconds = 30;
constexpr rlim_t mostMemory = rlim_t{3} << 29;

/// More than a page's picture or a document's text ever takes.
constexpr std::uint64_t longestField = std::uint64_t{64} << 20;
constexpr std::uint64_t mostFields = 8;

bool sendBytes(int socket, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t sent = ::send(socket, bytes, count, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent <= 0) return false;
        bytes += sent;
        count -= static_cast<std::size_t>(sent);
    }
    return true;
}

bool receiveBytes(int socket, char* bytes, std::size_t count, const std::stop_token& stop) {
    const int patience = stop.stop_possible() ? 100 : -1;  // milliseconds
    while (count > 0) {
        if (stop.stop_requested()) throw Cancelled();
        pollfd source{socket, POLLIN, 0};
        if (::poll(&source, 1, patience) <= 0) continue;
        const ssize_t received = ::recv(socket, bytes, count, 0);
        if (received < 0 && errno == EINTR) continue;
        if (received <= 0) return false;
        bytes += received;
        count -= static_cast<std::size_t>(received);
    }
    return true;
}

bool sendNumber(int socket, std::uint64_t number) {
    return sendBytes(socket, reinterpret_cast<const char*>(&number), sizeof number);
}

std::optional<std::uint64_t> receiveNumber(int socket, std::uint64_t most,
                                           const std::stop_token& stop) {
    std::uint64_t number = 0;
    if (!receiveBytes(socket, reinterpret_cast<char*>(&number), sizeof number, stop)) return {};
    return number <= most ? std::optional(number) : std::nullopt;
}

PdfFields textOf(const Path& path, const std::string& maximumTextByteCount) {
    const DocumentLimits limits{.maximumTextByteCount = std::stoull(maximumTextByteCount)};
    DocumentReading reading(path, limits, {});
    DocumentText text = readPdf(reading);
    return {"", std::move(text.title), std::move(text.text)};
}

PdfFields performed(const PdfFields& request) {
    const std::string& what = request.at(0);
    const Path path(request.at(1));
    if (what == "text") return textOf(path, request.at(2));
    const auto pages = makePdfPages();
    if (what == "count") return {"", std::to_string(pages->pageCount(path, {}))};
    if (what == "without text") {
        return {"", fmt::format("{}", fmt::join(pages->pagesWithoutText(path, {}, {}), " "))};
    }
    const Picture picture =
        pages->render(path, std::stoi(request.at(2)), std::stoi(request.at(3)), {}, {});
    return {"", std::to_string(picture.width), std::to_string(picture.height),
            std::string(picture.pixels.begin(), picture.pixels.end())};
}

/// The kernel ends the process by a signal when its time is over. No core file keeps anything of a
/// document.
void limitWhatFollows() {
    rusage used{};
    ::getrusage(RUSAGE_SELF, &used);
    const auto seconds = static_cast<rlim_t>(used.ru_utime.tv_sec + used.ru_stime.tv_sec);
    const rlimit time{seconds + mostSeconds, RLIM_INFINITY};
    const rlimit memory{mostMemory, mostMemory};
    const rlimit noCore{0, 0};
    ::setrlimit(RLIMIT_CPU, &time);
    ::setrlimit(RLIMIT_AS, &memory);
    ::setrlimit(RLIMIT_CORE, &noCore);
}

}  // namespace

bool sendFields(int socket, const PdfFields& fields) {
    if (!sendNumber(socket, fields.size())) return false;
    for (const std::string& field : fields) {
        if (!sendNumber(socket, field.size())) return false;
        if (!sendBytes(socket, field.data(), field.size())) return false;
    }
    return true;
}

std::optional<PdfFields> receiveFields(int socket, const std::stop_token& stop) {
    const auto count = receiveNumber(socket, mostFields, stop);
    if (!count) return std::nullopt;
    PdfFields fields(*count);
    for (std::string& field : fields) {
        const auto length = receiveNumber(socket, longestField, stop);
        if (!length) return std::nullopt;
        field.resize(*length);
        if (!receiveBytes(socket, field.data(), field.size(), stop)) return std::nullopt;
    }
    return fields;
}

int servePdf() {
    while (const auto request = receiveFields(STDIN_FILENO, {})) {
        limitWhatFollows();
        PdfFields answer;
        try {
            answer = performed(*request);
        } catch (const std::exception& error) {
            answer = {error.what()};
        }
        if (!sendFields(STDIN_FILENO, answer)) break;
    }
    return 0;
}

}  // namespace nookery
