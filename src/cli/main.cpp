#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <functional>
#include <memory>
#include <optional>

#include "archive/RestoreAtStart.h"
#include "backends/StderrLog.h"
#include "backends/SystemPlatform.h"
#include "backends/cryptography/OpenSslDigest.h"
#include "backends/sockets/UnixSockets.h"
#include "cli/context/CommandContext.h"
#include "cli/context/Ending.h"
#include "cli/context/TerminalConsole.h"
#include "cli/line/CommandLine.h"
#include "cli/line/Help.h"
#include "cli/output/CommandLog.h"
#include "cli/output/TextLayout.h"
#include "cli/resident/Background.h"
#include "cli/resident/ResidentLookup.h"
#include "collection/database/LibraryLock.h"
#include "foundation/Json.h"
#include "foundation/Text.h"
#include "workspace/ProblemLog.h"

namespace nookery::cli {
namespace {

using Words = std::vector<std::string>;

/// How long a command waits for a library that another process is opening or closing.
constexpr std::chrono::seconds patience{2};
constexpr useconds_t pauseMicroseconds = 50'000;

Path programFolder() {
    std::array<char, PATH_MAX> name{};
    const ssize_t length = ::readlink("/proc/self/exe", name.data(), name.size());
    return length <= 0 ? Path() : Path(std::string(name.data(), length)).parent_path();
}

Path workingFolder() {
    std::array<char, PATH_MAX> name{};
    return ::getcwd(name.data(), name.size()) == nullptr ? Path("/") : Path(name.data());
}

/// Where the library is, and where whoever has it open is met.
struct Meeting {
    explicit Meeting(const Arguments& arguments)
        : places(findPlaces(processEnvironment(), arguments.value("data-home"), workingFolder())) {}

    Places places;
    std::unique_ptr<FileSystem> files = makePosixFileSystem();
    std::unique_ptr<ContentDigester> digester = makeOpenSslDigester();
    ResidentLookup lookup{places, *files, *digester, connectToSocket};
};

/// A command line, and what it was given in.
struct Call {
    const Words& words;
    const CommandLine& line;
    const Meeting& meeting;
    const Interrupts& interrupts;
    TerminalConsole& console;
    CommandLog& log;
};

/// Builds the world, and the session in it, for a command that needs them.
int runInWorld(const Call& call, Log& plainLog) {
    const Command& command = *call.line.command;
    const Places& places = call.meeting.places;
    ProblemLog log(plainLog);
    SystemPlatform system({.configFolder = places.configHome,
                           .userData = places.userData,
                           .programFolder = programFolder(),
                           .cloudFolder = places.cloudHome,
                           .keyStoreFile = places.keyStoreFile},
                          log);
    CommandContext context(system.platform(), log, places, call.console, call.line.arguments);
    if (!command.leavesRestoresWaiting) {
        completeWaitingRestores(context.platform(), context.layout());
    }
    Coroutine<int> running = command.run(context, call.line.arguments);
    bool hasEnded = false;
    running.start([&] { hasEnded = true; });
    system.mainLoop().runUntil([&] { return hasEnded; });
    const int status = running.result();
    context.out().flush();
    return status;
}

/// The words as another process understands them: what stands for a file that this one has open is
/// named by its own name. Throws Error where it has none.
Words wordsForAnother(const Call& call) {
    Words words = call.words;
    for (std::string& word : words) {
        const bool isOwn = word.starts_with("/dev/stdin") || word.starts_with("/dev/fd/") ||
                           word.starts_with("/proc/self/");
        if (!isOwn) continue;
        const auto named = call.meeting.files->resolve(word);
        if (!named) throw Error("What " + word + " stands for has no name: give -, or a file.");
        word = named->native();
    }
    return words;
}

/// Has the command done where the library is open; none when it must be done here.
std::optional<Ending> runInResident(const Call& call, std::string& refusal) {
    const auto resident = call.meeting.lookup.find(call.interrupts);
    if (!resident) return std::nullopt;
    const auto ended = resident->run({.words = wordsForAnother(call),
                                      .places = resolved(call.meeting.places, *call.meeting.files),
                                      .region = machineRegion(),
                                      .traits = call.console.traits()},
                                     call.console);
    refusal = resident->refusal();
    if (!ended) return std::nullopt;
    for (const std::string& line : ended->log) call.log.line(line);
    return ended->ending;
}

/// Tries again while whoever has the library may be about to serve, but has not begun to, or about
/// to end. The attempt says in `refusal` why trying again is of no use.
Ending patiently(const Call& call, const std::function<Ending(std::string& refusal)>& attempt) {
    const auto giveUp = std::chrono::steady_clock::now() + patience;
    while (true) {
        std::string refusal;
        try {
            return attempt(refusal);
        } catch (const LibraryInUse& error) {
            if (!refusal.empty()) throw LibraryInUse(error.description() + " " + refusal);
            if (call.console.hasRead() || std::chrono::steady_clock::now() > giveUp) throw;
        }
        // Between two attempts the process has no queue, and nothing else to do.
        ::usleep(pauseMicroseconds);
    }
}

Ending runWhereTheLibraryIs(const Call& call) {
    return patiently(call, [&](std::string& refusal) {
        const auto ended = runInResident(call, refusal);
        return ended ? *ended : Ending{runInWorld(call, call.log)};
    });
}

Ending runWithBorrowedLibrary(const Call& call) {
    return patiently(call, [&](std::string&) {
        const auto resident = call.meeting.lookup.find(call.interrupts);
        if (resident) resident->borrowLibrary();
        return Ending{runInWorld(call, call.log)};
    });
}

Ending stopResident(const Call& call) {
    if (!call.meeting.lookup.end(call.interrupts)) throw Error("Nothing watches this library.");
    return {};
}

Ending run(const Call& call) {
    switch (call.line.command->runsIn) {
        case RunsIn::resident:
            return runWhereTheLibraryIs(call);
        case RunsIn::callerWithLibrary:
            return runWithBorrowedLibrary(call);
        case RunsIn::caller:
            break;
    }
    if (call.line.arguments.has("stop")) return stopResident(call);
    StderrLog atOnce;
    Log& log = call.line.command->isLasting ? static_cast<Log&>(atOnce) : call.log;
    return {runInWorld(call, log)};
}

std::string backgroundText(const Arguments& arguments, bool wasThere) {
    if (arguments.has("json")) return toJsonText(OrderedJson{{"started", !wasThere}}) + "\n";
    if (arguments.has("quiet")) return {};
    return wasThere ? "This library is being watched already.\n"
                    : "Watching in the background; nookery watch --stop ends it.\n";
}

/// For what needs nothing of the world; none for what does.
std::optional<std::string> textOf(const CommandLine& line) {
    const bool wantsJson = line.arguments.has("json");
    if (line.command == nullptr) {
        return line.arguments.has("version") ? versionText(wantsJson) : programHelp();
    }
    if (line.command->text == nullptr) return std::nullopt;
    const std::string text = line.command->text(line.arguments);
    return wantsJson ? toJsonText(OrderedJson{{"text", text}}) + "\n" : text;
}

/// For a command that is to go on in the background: none in the process that does. Before there
/// is a second thread.
std::optional<Ending> leaveForBackground(const CommandLine& line, const Meeting& meeting) {
    const bool isThere = meeting.lookup.isThere();
    if (!isThere) {
        createDirectories(*meeting.files, meeting.places.cacheHome);
        const auto ending =
            continueInBackground(meeting.lookup, meeting.places.cacheHome / "watch.log");
        if (!ending || ending->status != exitDone) return ending;
    }
    writeToStandardOutput(backgroundText(line.arguments, isThere));
    return Ending{};
}

Ending runCommand(const Words& words, CommandLog& log) {
    const CommandLine line = parseCommandLine(words);
    if (const auto text = textOf(line)) {
        writeToStandardOutput(*text);
        const bool isUsage = line.command == nullptr && !line.arguments.has("version");
        return {isUsage ? exitWrongUsage : exitDone};
    }
    const Meeting meeting(line.arguments);
    if (line.command->isLasting && line.arguments.has("background")) {
        if (const auto ending = leaveForBackground(line, meeting)) return *ending;
    }
    const Interrupts interrupts;
    TerminalConsole console(interrupts, !line.arguments.has("no-color"),
                            !line.arguments.has("no-input"));
    return run({words, line, meeting, interrupts, console, log});
}

/// With --json standard output is one document, whatever happens.
void tellFailureAsJson(const Ending& ending) {
    const std::string document =
        printableJson(toJsonText(OrderedJson{{"error", toValidUtf8(ending.failure)}})) + "\n";
    try {
        writeToStandardOutput(document);
    } catch (const OutputError&) {
        // The failure is told on standard error, and by the exit status.
    }
}

int runProgram(const Words& words) {
    CommandLog log;
    const Ending ending = endingOf([&] { return runCommand(words, log); });
    StderrLog standardError;
    log.release(standardError, ending.failure);
    if (ending.failure.empty()) return ending.status;
    if (std::find(words.begin(), words.end(), "--json") != words.end()) {
        tellFailureAsJson(ending);
    }
    standardError.line("nookery: " + printable(ending.failure));
    return ending.status;
}

}  // namespace
}  // namespace nookery::cli

int main(int argumentCount, char** arguments) {
    try {
        return nookery::cli::runProgram({arguments + 1, arguments + argumentCount});
    } catch (const std::exception& error) {
        nookery::StderrLog().line("nookery: " + nookery::describe(error));
        return nookery::cli::exitFailed;
    }
}
