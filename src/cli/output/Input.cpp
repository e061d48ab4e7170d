#include "cli/output/Input.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <system_error>

namespace nookery::cli {
namespace {

constexpr std::size_t chunkByteCount = std::size_t{64} << 10;

}  // namespace

ByteSource standardInput(int interrupted) {
    return [interrupted](std::span<std::byte> buffer) -> std::size_t {
        while (true) {
            std::array<pollfd, 2> sources{pollfd{STDIN_FILENO, POLLIN, 0},
                                          pollfd{interrupted, POLLIN, 0}};
            if (::poll(sources.data(), sources.size(), -1) < 0 && errno != EINTR) break;
            if ((sources[1].revents & POLLIN) != 0) throw Cancelled();
            if (sources[0].revents == 0) continue;
            const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
            if (count >= 0) return static_cast<std::size_t>(count);
            if (errno != EINTR && errno != EAGAIN) break;
        }
        throw FileError("read", "standard input", errno);
    };
}

ByteSource openInput(FileSystem& files, const Path& path) {
    const auto real = files.resolve(path);
    if (!real) throw FileError("read", path, ENOENT);
    auto file = std::shared_ptr<ReadableFile>(files.openForReading(*real));
    return [file](std::span<std::byte> buffer) { return file->read(buffer); };
}

std::string readAll(const ByteSource& source, std::size_t maximumByteCount) {
    std::string all;
    std::string chunk(chunkByteCount, '\0');
    while (const std::size_t count = source(std::as_writable_bytes(std::span(chunk)))) {
        all.append(chunk, 0, count);
        if (all.size() > maximumByteCount) {
            throw Error("The input is too long: at most " + std::to_string(maximumByteCount >> 20) +
                        " MiB are taken at once.");
        }
    }
    return all;
}

std::optional<std::string> LineReader::next() {
    while (true) {
        const std::size_t end = held_.find('\n', position_);
        if (end != std::string::npos) {
            std::string line = held_.substr(position_, end - position_);
            position_ = end + 1;
            if (line.ends_with('\r')) line.pop_back();
            return line;
        }
        if (ended_ || !fill()) break;
    }
    if (position_ == held_.size()) return std::nullopt;
    std::string last = held_.substr(position_);
    position_ = held_.size();
    return last;
}

bool LineReader::fill() {
    held_.erase(0, position_);
    position_ = 0;
    if (held_.size() > maximumLineByteCount) throw Error("A line of the input is too long.");
    std::string chunk(chunkByteCount, '\0');
    const std::size_t count = source_(std::as_writable_bytes(std::span(chunk)));
    held_.append(chunk, 0, count);
    ended_ = count == 0;
    return !ended_;
}

}  // namespace nookery::cli
