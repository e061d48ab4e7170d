#pragma once

#include <string>
#include <string_view>

#include "cli/output/Console.h"

namespace nookery::cli {

/// Standard output, buffered. Every failure is noticed, at the latest by `flush`.
class Output {
  public:
    explicit Output(Console& console) : console_(console) {}

    /// Bytes as they are, for programs. Throws OutputError.
    void write(std::string_view bytes);
    /// Lines for a person: of what could steer a terminal only the styles of `Style` get through.
    /// Throws OutputError.
    void writeLine(std::string_view text);
    /// Hands on what is buffered. Throws OutputError; what was buffered is dropped then.
    void flush();

  private:
    Console& console_;
    std::string buffer_;
};

}  // namespace nookery::cli
