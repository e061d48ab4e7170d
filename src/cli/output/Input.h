#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace nookery::cli {

/// Splits what comes into lines, holding one at a time.
class LineSplitter {
  public:
    /// A line longer than this throws Error.
    static constexpr std::size_t maximumLineByteCount = std::size_t{64} << 20;

    /// More of the input; empty at its end.
    void add(std::string_view bytes);
    bool hasEnded() const { return hasEnded_; }
    /// The next whole line without its end, or what is left at the end of the input; none while
    /// more must come, and when nothing is left.
    std::optional<std::string> next();

  private:
    std::string held_;
    std::size_t position_ = 0;
    bool hasEnded_ = false;
};

}  // namespace nookery::cli
