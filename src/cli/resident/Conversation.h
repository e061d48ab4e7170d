#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/context/Ending.h"
#include "cli/context/Places.h"
#include "cli/output/Console.h"
#include "foundation/Region.h"
#include "platform/ContentDigest.h"

namespace nookery::cli {

/// What is said between a command and the resident: the process that has the library open. The
/// resident greets; the command says one thing that it wants; what follows depends on that.
enum class MessageKind : char {
    // From the resident.
    greeting = 'G',    ///< JSON: its version
    refused = 'R',     ///< the command must do it alone; why, unless this process ends
    lent = 'L',        ///< the library is the command's until the conversation ends
    output = 'o',      ///< bytes for standard output
    message = 'm',     ///< bytes for standard error
    progress = 'p',    ///< the line of progress
    question = 'q',    ///< JSON: title and text
    wantsInput = 'i',  ///< more of standard input
    open = 'x',        ///< a file or an address for the desktop
    ended = 'e',       ///< JSON: how the command ended; the last message
    // From the command: what it wants.
    run = 'r',     ///< JSON: to be run in the resident
    borrow = 'b',  ///< to have the library to itself for a while
    end = 'E',     ///< the resident is to end
    // From the command while it runs.
    stop = 's',          ///< the person interrupted
    input = 'I',         ///< bytes of standard input, none at its end
    inputFailed = 'F',   ///< why there is no more
    answer = 'a',        ///< "yes" or "no"
    opened = 'X',        ///< nothing, or why the desktop did not
    outputFailed = 'O',  ///< the number of the error of standard output
};

struct Message {
    MessageKind kind;
    std::string content;
};

/// The message as its bytes travel.
std::string encoded(MessageKind kind, std::string_view content = {});

/// Finds the messages in what comes.
class MessageSplitter {
  public:
    static constexpr std::size_t maximumContentByteCount = std::size_t{64} << 20;

    void add(std::string_view bytes);
    /// The next whole message; none while more must come. Throws Error for one that is too long.
    std::optional<Message> next();

  private:
    std::string held_;
    std::size_t position_ = 0;
};

/// A command to be run, and the surroundings of who called it.
struct CommandRequest {
    std::vector<std::string> words;  ///< after the program's name
    Places places;
    RegionNames region;
    ConsoleTraits traits;
};

/// Another process's command, its lines of log included.
struct CommandEnding {
    Ending ending;
    std::vector<std::string> log{};
};

struct Question {
    std::string title;
    std::string text;
};

// As JSON and back. The readers throw JsonError.
std::string greetingText();
/// Whether the greeting is that of a resident of this very version.
bool isOfThisVersion(const std::string& greeting);
std::string toText(const CommandRequest& request);
CommandRequest parseCommandRequest(const std::string& text);
std::string toText(const CommandEnding& ending);
CommandEnding parseCommandEnding(const std::string& text);
std::string toText(const Question& question);
Question parseQuestion(const std::string& text);

/// Where the resident of the library listens: one place for each library, however it is named.
/// Names that differ by links only are one.
Path residentSocket(const Places& places, FileSystem& files, const ContentDigester& digester);

/// With links resolved, so that two processes can compare them.
Places resolved(Places places, FileSystem& files);

}  // namespace nookery::cli
