#pragma once

#include <string>
#include <vector>

#include "cli/line/Arguments.h"
#include "cli/line/Command.h"

namespace nookery::cli {

/// A command line, understood.
struct CommandLine {
    const Command* command = nullptr;  ///< none: only global options were given
    Arguments arguments{};             ///< the command's own and the global options together
};

/// Reads the words after the program's name. "COMMAND --help" is read as "help COMMAND". Throws
/// UsageError.
CommandLine parseCommandLine(const std::vector<std::string>& words);

}  // namespace nookery::cli
