#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "foundation/Error.h"
#include "foundation/FileSystem.h"
#include "platform/work/Outcome.h"

namespace nookery::cli {

/// Standard output cannot be written to.
class OutputError : public Error {
  public:
    explicit OutputError(int errorNumber);

    int errorNumber() const { return errorNumber_; }
    /// Whoever read it has left, on purpose: nothing to complain about.
    bool isClosedPipe() const;

  private:
    int errorNumber_;
};

/// What the person sees the program through.
struct ConsoleTraits {
    bool hasColour = false;                ///< standard output takes colours
    std::optional<std::size_t> columns{};  ///< of standard output; none when it is no terminal
    bool showsProgress = false;            ///< standard error is a terminal
    bool canAsk = false;                   ///< somebody is there to answer
    Path workingFolder{};                  ///< that relative paths are meant from; absolute
};

/// The person who called: what is said to them and asked of them. Main thread, except where said.
class Console {
  public:
    virtual ~Console() = default;

    virtual const ConsoleTraits& traits() const = 0;
    /// Requested when the person wants the command to end. Any thread.
    virtual std::stop_token stop() const = 0;

    /// Standard output. Throws OutputError, at the latest with a later piece.
    virtual void write(std::string_view text) = 0;
    /// Standard error.
    virtual void writeMessage(std::string_view text) = 0;
    /// One line that replaces the last such line, on standard error; empty text wipes it.
    virtual void showProgress(std::string_view text) = 0;

    /// Shows the title and the text, and asks for yes or no; anything but a yes is a no. Stopped
    /// when the person ends the command instead.
    using Answered = std::function<void(Outcome<bool>)>;
    virtual void ask(std::string_view title, std::string_view text, Answered answered) = 0;

    /// The next bytes of standard input, empty at its end. Stopped when the person ends the
    /// command. One at a time.
    using Read = std::function<void(Outcome<std::string>)>;
    virtual void read(Read done) = 0;

    /// Hands a file or address to the desktop of the person. Failed where the desktop cannot open
    /// it.
    using Opened = std::function<void(Outcome<Nothing>)>;
    virtual void openOnDesktop(const std::string& target, Opened opened) = 0;
};

}  // namespace nookery::cli
