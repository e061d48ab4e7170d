#pragma once

#include <functional>
#include <string>

#include "cli/line/Command.h"

namespace nookery::cli {

/// How a command ends: a status, and a line to say unless all went well.
struct Ending {
    int status = exitDone;
    std::string failure{};
};

/// How the command ends: what it answers, or what leaves it.
Ending endingOf(const std::function<Ending()>& command);

}  // namespace nookery::cli
