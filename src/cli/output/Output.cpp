#include "cli/output/Output.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace nookery::cli {
namespace {

constexpr std::size_t bufferByteCount = std::size_t{64} << 10;

}  // namespace

OutputError::OutputError(int errorNumber)
    : Error("Could not write the answer to standard output: " +
            std::generic_category().message(errorNumber) + "."),
      errorNumber_(errorNumber) {}

bool OutputError::isClosedPipe() const { return errorNumber_ == EPIPE; }

void Output::write(std::string_view text) {
    buffer_ += text;
    if (buffer_.size() >= bufferByteCount) flush();
}

void Output::writeLine(std::string_view text) {
    write(text);
    write("\n");
}

void Output::flush() {
    if (!buffer_.empty()) console_.write(std::exchange(buffer_, {}));
}

}  // namespace nookery::cli
