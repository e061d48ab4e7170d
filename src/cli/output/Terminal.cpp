#include "cli/output/Terminal.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "cli/output/Input.h"
#include "cli/output/TextLayout.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

constexpr std::size_t defaultColumns = 80;
constexpr std::chrono::milliseconds progressInterval{100};

void writeToStandardError(std::string_view text) {
    // Where standard error cannot be written to, nobody is left to be told.
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

Style Style::coloured() {
    return {.bold = "\x1b[1m",
            .dim = "\x1b[2m",
            .title = "\x1b[1;36m",
            .mark = "\x1b[1;33m",
            .reset = "\x1b[0m"};
}

Style Style::plain() { return {}; }

std::string Style::inBold(std::string_view text) const {
    return fmt::format("{}{}{}", bold, text, reset);
}

std::string Style::inDim(std::string_view text) const {
    return fmt::format("{}{}{}", dim, text, reset);
}

std::string Style::inTitle(std::string_view text) const {
    return fmt::format("{}{}{}", title, text, reset);
}

std::size_t terminalColumns() {
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    return defaultColumns;
}

Messages::Messages(bool isQuiet, bool mayAsk)
    : isQuiet_(isQuiet),
      isTerminal_(::isatty(STDERR_FILENO) == 1),
      canAsk_(mayAsk && isTerminal_ && ::isatty(STDIN_FILENO) == 1) {}

void Messages::say(std::string_view text) {
    if (isQuiet_) return;
    endProgress();
    writeToStandardError(fmt::format("{}\n", text));
}

void Messages::progress(std::string_view text) {
    if (isQuiet_ || !isTerminal_) return;
    const auto now = std::chrono::steady_clock::now();
    if (progressShown_ && now - lastProgress_ < progressInterval) return;
    lastProgress_ = now;
    progressShown_ = true;
    writeToStandardError(fmt::format("\r\x1b[K{}", fitted(printable(text), terminalColumns() - 1)));
}

void Messages::endProgress() {
    if (progressShown_) writeToStandardError("\r\x1b[K");
    progressShown_ = false;
}

bool Messages::confirm(std::string_view title, std::string_view text, int interrupted) {
    endProgress();
    writeToStandardError(fmt::format("{}\n", title));
    for (const std::string& line : wrapped(text, terminalColumns())) {
        writeToStandardError(line + "\n");
    }
    writeToStandardError("Go on? [y/N] ");
    LineReader answer(standardInput(interrupted));
    const std::string word = lowerCased(trimmed(answer.next().value_or("")));
    return word == "y" || word == "yes";
}

}  // namespace nookery::cli
