#include "cli/output/CommandLog.h"

#include <algorithm>

namespace nookery::cli {

void CommandLog::line(std::string_view text) {
    const std::lock_guard lock(mutex_);
    if (std::find(lines_.begin(), lines_.end(), text) == lines_.end()) lines_.emplace_back(text);
}

void CommandLog::release(Log& log, std::string_view alreadySaid) {
    const std::lock_guard lock(mutex_);
    for (const std::string& line : lines_) {
        if (alreadySaid.empty() || line.find(alreadySaid) == std::string::npos) log.line(line);
    }
    lines_.clear();
}

}  // namespace nookery::cli
