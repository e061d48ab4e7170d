#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "cli/output/Console.h"

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

/// What is said to the person beside the answer.
class Messages {
  public:
    Messages(Console& console, bool isQuiet) : console_(console), isQuiet_(isQuiet) {}

    /// One line for the person, unless quiet.
    void say(std::string_view text);
    /// A line of progress that replaces the last one: only on a terminal, not when quiet, and not
    /// more often than the eye follows.
    void progress(std::string_view text);
    /// Wipes the line of progress.
    void endProgress();

  private:
    Console& console_;
    bool isQuiet_;
    bool isProgressShown_ = false;
    std::chrono::steady_clock::time_point lastProgress_{};
};

}  // namespace nookery::cli
