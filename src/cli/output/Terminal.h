#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "foundation/FileSystem.h"

namespace nookery::cli {

/// Colours and weights of standard output; all empty where they are not wanted.
struct Style {
    std::string_view bold, dim, title, mark, reset;

    static Style coloured();
    static Style plain();

    std::string inBold(std::string_view text) const;
    std::string inDim(std::string_view text) const;
    std::string inTitle(std::string_view text) const;
};

/// Columns of the terminal behind standard output; 80 when there is none.
std::size_t terminalColumns();

/// Messages, progress and questions on standard error.
class Messages {
  public:
    Messages(bool isQuiet, bool mayAsk);

    /// One line for the person, unless quiet.
    void say(std::string_view text);
    /// A line of progress that replaces the last one: only on a terminal, not when quiet, and not
    /// more often than the eye follows.
    void progress(std::string_view text);
    /// Wipes the line of progress.
    void endProgress();

    /// Whether there is somebody to ask.
    bool canAsk() const { return canAsk_; }
    /// Shows the title and the text, then asks for yes or no; anything but a yes is a no. Throws
    /// Cancelled when `interrupted` becomes readable.
    bool confirm(std::string_view title, std::string_view text, int interrupted);

  private:
    bool isQuiet_;
    bool isTerminal_;
    bool canAsk_;
    bool progressShown_ = false;
    std::chrono::steady_clock::time_point lastProgress_{};
};

}  // namespace nookery::cli
