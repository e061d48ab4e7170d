#include "backends/StderrLog.h"

#include <unistd.h>

#include <algorithm>
#include <string>

#include "foundation/Text.h"

namespace nookery {

StderrLog::StderrLog() : isTerminal_(::isatty(STDERR_FILENO) == 1) {}

void StderrLog::line(std::string_view text) {
    std::string line(isTerminal_ ? "\r\x1b[K" : "");
    const auto start = static_cast<std::ptrdiff_t>(line.size());
    line += withoutSteering(text);
    std::replace(line.begin() + start, line.end(), '\n', ' ');
    line += '\n';
    // When standard error cannot be written to, there is nobody else to tell.
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace nookery
