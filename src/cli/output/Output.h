#pragma once

#include <string>
#include <string_view>

#include "cli/output/Console.h"

namespace nookery::cli {

/// Standard output, buffered. Every failure is noticed, at the latest by `flush`.
class Output {
  public:
    explicit Output(Console& console) : console_(console) {}

    /// Throws OutputError.
    void write(std::string_view text);
    void writeLine(std::string_view text);
    /// Hands on what is buffered. Throws OutputError; what was buffered is dropped then.
    void flush();

  private:
    Console& console_;
    std::string buffer_;
};

}  // namespace nookery::cli
