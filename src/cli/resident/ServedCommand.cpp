#include "cli/resident/ServedCommand.h"

#include <utility>

namespace nookery::cli {
namespace {

/// None when the caller lives where this process does.
std::optional<Region> regionOf(const RegionNames& names) {
    if (names == machineRegion()) return std::nullopt;
    return Region(names);
}

}  // namespace

ServedCommand::ServedCommand(const ServingPlace& place, CommandRequest request,
                             RemoteConsole::Send send, std::function<void()> ended)
    : place_(place),
      request_(std::move(request)),
      send_(std::move(send)),
      ended_(std::move(ended)),
      console_(request_.traits, send_),
      caller_(std::make_shared<Caller>(Caller{regionOf(request_.region), log_})) {}

void ServedCommand::begin(Workspace& library) {
    const CallerScope scope(caller_);
    try {
        line_ = parseCommandLine(request_.words);
        if (line_.command == nullptr || line_.command->run == nullptr) {
            throw UsageError("There is nothing to be run here.");
        }
        context_ = std::make_unique<CommandContext>(place_.platform, place_.problems, place_.places,
                                                    console_, line_.arguments, &library);
        command_.emplace(line_.command->run(*context_, line_.arguments));
    } catch (...) {
        const auto failure = std::current_exception();
        return tellEnd(endingOf([&]() -> Ending { std::rethrow_exception(failure); }));
    }
    command_->start([this] {
        tellEnd(endingOf([this] {
            const int status = command_->result();
            context_->out().flush();
            return Ending{status};
        }));
    });
}

void ServedCommand::tellEnd(const Ending& ending) {
    command_.reset();
    context_.reset();
    send_(MessageKind::ended, toText(CommandEnding{ending, log_->take()}));
    ended_();
}

}  // namespace nookery::cli
