#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/context/CommandContext.h"
#include "cli/line/Command.h"

namespace nookery::cli {

/// --yes and --dry-run.
std::vector<Option> destructionOptions();

/// The one way of every command that destroys something: says what would happen with --dry-run,
/// asks for consent, does it behind its recovery snapshot, and answers with the outcome. `begin`
/// starts the operation; `count` is how many things it is about.
int destroy(CommandContext& context, const Arguments& arguments, const std::string& title,
            const std::string& text, std::size_t count,
            const std::function<OperationPointer<DestructiveOutcome>()>& begin);

}  // namespace nookery::cli
