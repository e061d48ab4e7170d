#pragma once

#include <string>
#include <string_view>

#include "foundation/Error.h"

namespace nookery::cli {

/// Standard output cannot be written to.
class OutputError : public Error {
  public:
    explicit OutputError(int errorNumber);

    /// Whoever read it has left, on purpose: nothing to complain about.
    bool isClosedPipe() const { return isClosedPipe_; }

  private:
    bool isClosedPipe_;
};

/// Standard output, buffered. Every failure is noticed, at the latest by `flush`.
class Output {
  public:
    /// Throws OutputError.
    void write(std::string_view text);
    void writeLine(std::string_view text);
    /// Hands on what is buffered. Throws OutputError; what was buffered is dropped then.
    void flush();

    bool isTerminal() const { return isTerminal_; }

  private:
    std::string buffer_;
    bool isTerminal_ = standardOutputIsTerminal();

    static bool standardOutputIsTerminal();
};

}  // namespace nookery::cli
