#pragma once

#include <string>

#include "cli/line/Command.h"

/// What the command table says to people: help, the man page, the shells' completion.
namespace nookery::cli {

/// "nookery add [PATH|URL|-...] [OPTIONS]".
std::string usageOf(const Command& command);

std::string programHelp();
/// About one command, or a family ("snapshot"). Throws UsageError when there is no such command.
std::string commandHelp(const std::string& topic);
std::string versionText(bool asJson);

/// The manual page in roff.
std::string manualPage();

/// A script for "bash", "zsh" or "fish".
std::string completionScript(const std::string& shell);

}  // namespace nookery::cli
