#include "cli/output/Input.h"

#include "foundation/Error.h"

namespace nookery::cli {

void LineSplitter::add(std::string_view bytes) {
    held_.erase(0, position_);
    position_ = 0;
    if (held_.size() > maximumLineByteCount) throw Error("A line of the input is too long.");
    held_ += bytes;
    hasEnded_ |= bytes.empty();
}

std::optional<std::string> LineSplitter::next() {
    const std::size_t end = held_.find('\n', position_);
    if (end != std::string::npos) {
        std::string line = held_.substr(position_, end - position_);
        position_ = end + 1;
        if (line.ends_with('\r')) line.pop_back();
        return line;
    }
    if (!hasEnded_ || position_ == held_.size()) return std::nullopt;
    std::string last = held_.substr(position_);
    position_ = held_.size();
    return last;
}

}  // namespace nookery::cli
