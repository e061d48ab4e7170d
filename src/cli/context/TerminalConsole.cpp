#include "cli/context/TerminalConsole.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "cli/context/DesktopOpener.h"
#include "cli/output/Input.h"
#include "cli/output/TextLayout.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

constexpr std::size_t defaultColumns = 80;
constexpr std::size_t chunkByteCount = std::size_t{64} << 10;

/// Columns of the terminal behind a descriptor.
std::size_t columnsOf(int descriptor) {
    winsize size{};
    if (::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    return defaultColumns;
}

bool wantsColour() {
    const char* noColour = ::getenv("NO_COLOR");
    const char* kind = ::getenv("TERM");
    return (noColour == nullptr || *noColour == '\0') &&
           (kind == nullptr || std::string_view(kind) != "dumb");
}

Path currentFolder() {
    std::array<char, PATH_MAX> name{};
    return ::getcwd(name.data(), name.size()) == nullptr ? Path("/") : Path(name.data());
}

/// Waits for bytes of standard input; ends with Cancelled when `interrupted` becomes readable.
std::string readChunk(int interrupted) {
    std::string chunk(chunkByteCount, '\0');
    while (true) {
        std::array<pollfd, 2> sources{pollfd{STDIN_FILENO, POLLIN, 0},
                                      pollfd{interrupted, POLLIN, 0}};
        if (::poll(sources.data(), sources.size(), -1) < 0 && errno != EINTR) break;
        if ((sources[1].revents & POLLIN) != 0) throw Cancelled();
        if (sources[0].revents == 0) continue;
        const ssize_t count = ::read(STDIN_FILENO, chunk.data(), chunk.size());
        if (count >= 0) {
            chunk.resize(static_cast<std::size_t>(count));
            return chunk;
        }
        if (errno != EINTR && errno != EAGAIN) break;
    }
    throw FileError("read", "standard input", errno);
}

bool isYes(int interrupted) {
    LineSplitter lines;
    while (!lines.hasEnded()) {
        lines.add(readChunk(interrupted));
        if (const auto line = lines.next()) {
            const std::string word = lowerCased(trimmed(*line));
            return word == "y" || word == "yes";
        }
    }
    return false;
}

}  // namespace

TerminalConsole::TerminalConsole(const Interrupts& interrupts, bool allowsColour,
                                 bool allowsQuestions)
    : interrupts_(interrupts) {
    const bool isTerminal = ::isatty(STDOUT_FILENO) == 1;
    traits_.hasColour = isTerminal && allowsColour && wantsColour();
    if (isTerminal) traits_.columns = columnsOf(STDOUT_FILENO);
    traits_.showsProgress = ::isatty(STDERR_FILENO) == 1;
    traits_.canAsk = allowsQuestions && traits_.showsProgress && ::isatty(STDIN_FILENO) == 1;
    traits_.workingFolder = currentFolder();
}

void writeToStandardOutput(std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(STDOUT_FILENO, text.data(), text.size());
        if (count < 0 && errno != EINTR && errno != EAGAIN) throw OutputError(errno);
        if (count > 0) text.remove_prefix(static_cast<std::size_t>(count));
    }
}

void TerminalConsole::write(std::string_view text) { writeToStandardOutput(text); }

void TerminalConsole::writeMessage(std::string_view text) {
    // Where standard error cannot be written to, nobody is left to be told.
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, text.data(), text.size());
}

void TerminalConsole::showProgress(std::string_view text) {
    writeMessage(fmt::format("\r\x1b[K{}", fitted(text, columnsOf(STDERR_FILENO) - 1)));
}

void TerminalConsole::ask(std::string_view title, std::string_view text, Answered answered) {
    hasRead_ = true;
    writeMessage(fmt::format("{}\n", title));
    for (const std::string& line : wrapped(text, columnsOf(STDERR_FILENO))) {
        writeMessage(line + "\n");
    }
    writeMessage("Go on? [y/N] ");
    answered(outcomeOf([&] { return isYes(interrupts_.descriptor()); }));
}

void TerminalConsole::read(Read done) {
    hasRead_ = true;
    done(outcomeOf([&] { return readChunk(interrupts_.descriptor()); }));
}

void TerminalConsole::openOnDesktop(const std::string& target, Opened opened) {
    opened(outcomeOf([&] { nookery::cli::openOnDesktop(target); }));
}

}  // namespace nookery::cli
