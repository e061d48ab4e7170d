#include "cli/output/Output.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "cli/output/Messages.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

constexpr std::size_t bufferByteCount = std::size_t{64} << 10;

/// The program's own style that the text begins with; empty when it begins with none.
std::string_view styleAt(std::string_view text) {
    const Style own = Style::coloured();
    for (const auto style : {own.bold, own.dim, own.title, own.mark, own.reset}) {
        if (text.starts_with(style)) return style;
    }
    return {};
}

}  // namespace

OutputError::OutputError(int errorNumber)
    : Error("Could not write the answer to standard output: " +
            std::generic_category().message(errorNumber) + "."),
      errorNumber_(errorNumber) {}

bool OutputError::isClosedPipe() const { return errorNumber_ == EPIPE; }

void Output::write(std::string_view bytes) {
    buffer_ += bytes;
    if (buffer_.size() >= bufferByteCount) flush();
}

void Output::writeLine(std::string_view text) {
    while (!text.empty()) {
        const std::size_t begin = std::min(text.find('\x1b'), text.size());
        write(withoutSteering(text.substr(0, begin)));
        text.remove_prefix(begin);
        const std::string_view style = styleAt(text);
        write(style);
        text.remove_prefix(style.empty() && !text.empty() ? 1 : style.size());
    }
    write("\n");
}

void Output::flush() {
    if (!buffer_.empty()) console_.write(std::exchange(buffer_, {}));
}

}  // namespace nookery::cli
