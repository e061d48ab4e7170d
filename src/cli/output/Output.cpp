#include "cli/output/Output.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace nookery::cli {
namespace {

constexpr std::size_t bufferByteCount = std::size_t{64} << 10;

}  // namespace

OutputError::OutputError(int errorNumber)
    : Error("Could not write the answer to standard output: " +
            std::generic_category().message(errorNumber) + "."),
      isClosedPipe_(errorNumber == EPIPE) {}

void Output::write(std::string_view text) {
    buffer_ += text;
    if (buffer_.size() >= bufferByteCount) flush();
}

void Output::writeLine(std::string_view text) {
    write(text);
    write("\n");
}

void Output::flush() {
    const std::string pending = std::move(buffer_);
    buffer_.clear();
    for (std::size_t written = 0; written < pending.size();) {
        const ssize_t count =
            ::write(STDOUT_FILENO, pending.data() + written, pending.size() - written);
        if (count < 0 && errno != EINTR && errno != EAGAIN) throw OutputError(errno);
        if (count > 0) written += static_cast<std::size_t>(count);
    }
}

bool Output::standardOutputIsTerminal() { return ::isatty(STDOUT_FILENO) == 1; }

}  // namespace nookery::cli
