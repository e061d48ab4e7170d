#include "backends/StderrLog.h"

#include <unistd.h>

#include <string>

namespace nookery {

StderrLog::StderrLog() : isTerminal_(::isatty(STDERR_FILENO) == 1) {}

void StderrLog::line(std::string_view text) {
    std::string line(isTerminal_ ? "\r\x1b[K" : "");
    for (const char c : text) line += c == '\n' || c == '\r' ? ' ' : c;
    line += '\n';
    // When standard error cannot be written to, there is nobody else to tell.
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace nookery
