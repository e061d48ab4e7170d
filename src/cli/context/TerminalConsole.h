#pragma once

#include "cli/context/Interrupts.h"
#include "cli/output/Console.h"

namespace nookery::cli {

/// Throws OutputError.
void writeToStandardOutput(std::string_view text);

/// The terminal, or the pipes, that this process was started with. Reading and asking wait for the
/// person, and so hold the thread up: nothing but the command runs in such a process.
class TerminalConsole final : public Console {
  public:
    /// `allowsColour` and `allowsQuestions` as the command line has them.
    TerminalConsole(const Interrupts& interrupts, bool allowsColour, bool allowsQuestions);

    /// Whether some of standard input is gone, so that a command cannot begin anew.
    bool hasRead() const { return hasRead_; }

    const ConsoleTraits& traits() const override { return traits_; }
    std::stop_token stop() const override { return interrupts_.token(); }

    void write(std::string_view text) override;
    void writeMessage(std::string_view text) override;
    void showProgress(std::string_view text) override;
    void ask(std::string_view title, std::string_view text, Answered answered) override;
    void read(Read done) override;
    void openOnDesktop(const std::string& target, Opened opened) override;

  private:
    const Interrupts& interrupts_;
    ConsoleTraits traits_;
    bool hasRead_ = false;
};

}  // namespace nookery::cli
