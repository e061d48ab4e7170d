#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "cli/context/Interrupts.h"
#include "cli/output/Console.h"
#include "cli/resident/Conversation.h"

namespace nookery::cli {

/// The caller's side of a conversation with the process that has the library open. It waits for
/// what the other says, and so holds the thread up: nothing but the command runs in such a process.
/// Every function throws Error when the resident ends before its time, and Cancelled when the
/// person interrupts what cannot be stopped otherwise.
class ResidentClient {
  public:
    /// Closes the descriptor, which is connected to the resident, when it is destroyed.
    ResidentClient(int descriptor, const Interrupts& interrupts);
    ~ResidentClient();
    ResidentClient(const ResidentClient&) = delete;
    ResidentClient& operator=(const ResidentClient&) = delete;

    enum class Greeting {
        none,  ///< it was about to end
        ofThisVersion,
        ofAnother,  ///< only good for `endResident`
    };
    /// Call first.
    Greeting greeting();
    /// Has the command run there, and does here what it asks for. None when the resident is no
    /// place for it: then the command must open the library itself.
    std::optional<CommandEnding> run(const CommandRequest& request, Console& console);
    /// After `run` had no answer: why, and why that stays so; empty when the resident was about to
    /// end.
    const std::string& refusal() const { return refusal_; }
    /// Returns when the resident has closed the library, for as long as this lives, or has ended.
    void borrowLibrary();
    /// Answers when the resident has ended.
    void endResident();

  private:
    /// None when the resident has left.
    std::optional<Message> receive();
    Message demandMessage();
    std::optional<CommandEnding> follow(Console& console);
    void obey(const Message& message, Console& console);
    void sendInput();
    void send(MessageKind kind, std::string_view content = {});
    /// What the person's interrupt does: at first the command there is asked to stop.
    void interrupted();

    int descriptor_;
    const Interrupts& interrupts_;
    MessageSplitter splitter_;
    bool isCommandRunning_ = false;
    Console* readsFor_ = nullptr;  ///< whose standard input is wanted, as soon as there is some
    bool hasAskedToStop_ = false;
    std::optional<OutputError> outputFailure_{};
    std::string refusal_;
};

}  // namespace nookery::cli
