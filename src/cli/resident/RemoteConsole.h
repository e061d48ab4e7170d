#pragma once

#include <functional>
#include <stop_token>

#include "cli/output/Console.h"
#include "cli/resident/Conversation.h"

namespace nookery::cli {

/// The console of a command that was called in another process.
class RemoteConsole final : public Console {
  public:
    using Send = std::function<void(MessageKind, std::string_view)>;
    RemoteConsole(ConsoleTraits traits, Send send);

    /// What the other process says to the command.
    void receive(const Message& message);
    /// Nobody is there any more: whatever is waited for ends as if the person had interrupted.
    void stopCommand();
    /// The same as soon as something is waited for.
    void waitNoMore();

    const ConsoleTraits& traits() const override { return traits_; }
    std::stop_token stop() const override { return stop_.get_token(); }

    void write(std::string_view text) override;
    void writeMessage(std::string_view text) override { send_(MessageKind::message, text); }
    void showProgress(std::string_view text) override { send_(MessageKind::progress, text); }
    void ask(std::string_view title, std::string_view text, Answered answered) override;
    void read(Read done) override;
    void openOnDesktop(const std::string& target, Opened opened) override;

  private:
    ConsoleTraits traits_;
    Send send_;
    std::stop_source stop_;
    bool mayWait_ = true;
    int outputFailure_ = 0;  ///< the error's number
    // What is waited for; none when nothing is.
    Answered answered_;
    Read read_;
    Opened opened_;
};

}  // namespace nookery::cli
