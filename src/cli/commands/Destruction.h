#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/context/CommandContext.h"
#include "cli/line/Command.h"

namespace nookery::cli {

/// --yes and --dry-run.
std::vector<Option> destructionOptions();

using BeginDestruction = std::function<OperationPointer<DestructiveOutcome>()>;

/// The one way of every command that destroys something: says what would happen with --dry-run,
/// asks for consent, does it behind its recovery snapshot, and answers with the outcome. `begin`
/// starts the operation; `count` is how many things it is about.
Coroutine<int> destroy(CommandContext& context, const Arguments& arguments, std::string title,
                       std::string text, std::size_t count, BeginDestruction begin);

}  // namespace nookery::cli
