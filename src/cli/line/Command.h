#pragma once

#include <string>
#include <vector>

#include "platform/work/Coroutine.h"

namespace nookery::cli {

class Arguments;
class CommandContext;

/// What the shell may offer in an argument's or option's place.
enum class Offers { nothing, files, words };

/// Arguments by position. Only the last one of a command may repeat.
struct Positional {
    std::string name;  ///< as shown: "PATH|URL|-"
    std::string help;
    bool required = true;
    bool repeats = false;
    Offers offers = Offers::nothing;
    std::vector<std::string> words{};  ///< with Offers::words
};

struct Option {
    std::string name;   ///< without the dashes
    std::string value;  ///< what its value is called; empty for a switch
    std::string help;
    bool repeats = false;
    Offers offers = Offers::nothing;
    std::vector<std::string> words{};  ///< with Offers::words; anything else is refused
};

struct Example {
    std::string line;  ///< what to type, without the program's name
    std::string says;
};

/// Where a command runs when another process has the library open.
enum class RunsIn {
    resident,           ///< in that process, which does all that the command asks for
    caller,             ///< in its own: it needs no library, or is to have one open itself
    callerWithLibrary,  ///< in its own, which that process lends the library to meanwhile
};

/// One command as all that read the table see it: the parser, help, completion and the man page.
struct Command {
    using Run = Coroutine<int> (*)(CommandContext&, const Arguments&);
    using Text = std::string (*)(const Arguments&);

    std::string name;  ///< one word, or two: "snapshot take"
    std::string summary;
    std::vector<Example> examples{};
    std::vector<Positional> positionals{};
    std::vector<Option> options{};
    std::string notes{};  ///< paragraphs below the options, if any
    bool isHidden = false;
    bool isLasting = false;  ///< runs until it is interrupted, and logs as things happen
    /// Every other command's start completes a restore that waits.
    bool leavesRestoresWaiting = false;
    RunsIn runsIn = RunsIn::resident;
    /// Answers the exit status; throws Error, UsageError or Cancelled. The context and the
    /// arguments outlive the coroutine.
    Run run = nullptr;
    /// In place of `run`, for a command that only says something and needs nothing of the world.
    Text text = nullptr;
};

/// Exit statuses, the same for every command.
inline constexpr int exitDone = 0;
inline constexpr int exitFailed = 1;
inline constexpr int exitWrongUsage = 2;
inline constexpr int exitInterrupted = 130;

/// Options that every command takes, before or after its name.
const std::vector<Option>& globalOptions();

/// Every command, in the order in which help shows them.
const std::vector<Command>& commandTable();

/// The command of this name; null when there is none.
const Command* findCommand(const std::string& name);

}  // namespace nookery::cli
