#include "cli/output/CommandLog.h"

#include <algorithm>
#include <utility>

namespace nookery::cli {

void CommandLog::line(std::string_view text) {
    const std::lock_guard lock(mutex_);
    if (std::find(lines_.begin(), lines_.end(), text) == lines_.end()) lines_.emplace_back(text);
}

std::vector<std::string> CommandLog::take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(lines_, {});
}

void CommandLog::release(Log& log, std::string_view alreadySaid) {
    for (const std::string& line : take()) {
        if (alreadySaid.empty() || line.find(alreadySaid) == std::string::npos) log.line(line);
    }
}

}  // namespace nookery::cli
