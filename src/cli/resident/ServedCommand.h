#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "cli/context/CommandContext.h"
#include "cli/line/CommandLine.h"
#include "cli/output/CommandLog.h"
#include "cli/resident/Conversation.h"
#include "cli/resident/RemoteConsole.h"
#include "platform/work/Caller.h"

namespace nookery::cli {

/// The world that commands of other processes run in.
struct ServingPlace {
    const Platform& platform;
    ProblemLog& problems;
    Places places;
};

/// A command that another process called, run in the library that this one has open. What it says,
/// shows, asks and logs goes to the caller, with the caller's own time zone and language.
class ServedCommand {
  public:
    /// `ended` is called once the caller was told how the command ended; it must not destroy this.
    /// Throws Error when the caller's time zone is not known.
    ServedCommand(const ServingPlace& place, CommandRequest request, RemoteConsole::Send send,
                  std::function<void()> ended);

    /// Call once.
    void begin(Workspace& library);
    /// What the caller says meanwhile. Throws Error when it makes no sense.
    void receive(const Message& message) { console_.receive(message); }
    /// From now on it ends where it would wait for its caller.
    void waitForCallerNoMore() { console_.waitNoMore(); }
    /// Ends it where it is whole.
    void stop() { console_.stopCommand(); }

  private:
    void tellEnd(const Ending& ending);

    const ServingPlace& place_;
    CommandRequest request_;
    RemoteConsole::Send send_;
    std::function<void()> ended_;
    RemoteConsole console_;
    std::shared_ptr<CommandLog> log_ = std::make_shared<CommandLog>();
    std::shared_ptr<const Caller> caller_;
    CommandLine line_;
    std::unique_ptr<CommandContext> context_;
    std::optional<Coroutine<int>> command_;
};

}  // namespace nookery::cli
