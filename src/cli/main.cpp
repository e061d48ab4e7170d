#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <optional>

#include "archive/RestoreAtStart.h"
#include "backends/StderrLog.h"
#include "backends/SystemPlatform.h"
#include "cli/Places.h"
#include "cli/context/CommandContext.h"
#include "cli/context/TerminalConsole.h"
#include "cli/line/CommandLine.h"
#include "cli/line/Help.h"
#include "cli/output/CommandLog.h"
#include "cli/output/TextLayout.h"
#include "foundation/DatabaseError.h"
#include "foundation/Text.h"
#include "workspace/InvalidInput.h"
#include "workspace/ProblemLog.h"

namespace nookery::cli {
namespace {

using Words = std::vector<std::string>;

/// How the program ends: a status, and a line to say unless all went well.
struct Ending {
    int status = exitDone;
    std::string failure{};
};

Path programFolder() {
    std::array<char, PATH_MAX> name{};
    const ssize_t length = ::readlink("/proc/self/exe", name.data(), name.size());
    return length <= 0 ? Path() : Path(std::string(name.data(), length)).parent_path();
}

Path workingFolder() {
    std::array<char, PATH_MAX> name{};
    return ::getcwd(name.data(), name.size()) == nullptr ? Path("/") : Path(name.data());
}

/// Builds the world, and the session in it, for a command that needs them.
int runInWorld(const CommandLine& line, Console& console, Log& plainLog) {
    const Places places =
        findPlaces(processEnvironment(), line.arguments.value("data-home"), workingFolder());
    ProblemLog log(plainLog);
    SystemPlatform system({.configFolder = places.configHome,
                           .userData = places.userData,
                           .programFolder = programFolder(),
                           .cloudFolder = places.cloudHome,
                           .keyStoreFile = places.keyStoreFile},
                          log);
    CommandContext context(system.platform(), log, {places.dataHome, places.cacheHome}, console,
                           line.arguments);
    if (!line.command->leavesRestoresWaiting) {
        completeWaitingRestores(context.platform(), context.layout());
    }
    Coroutine<int> command = line.command->run(context, line.arguments);
    bool hasEnded = false;
    command.start([&] { hasEnded = true; });
    system.mainLoop().runUntil([&] { return hasEnded; });
    const int status = command.result();
    context.out().flush();
    return status;
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

int runCommand(const Words& words, CommandLog& log) {
    const CommandLine line = parseCommandLine(words);
    const Interrupts interrupts;
    TerminalConsole console(interrupts, !line.arguments.has("no-color"),
                            !line.arguments.has("no-input"));
    if (const auto text = textOf(line)) {
        console.write(*text);
        const bool isUsage = line.command == nullptr && !line.arguments.has("version");
        return isUsage ? exitWrongUsage : exitDone;
    }
    StderrLog atOnce;
    return line.command->isLasting ? runInWorld(line, console, atOnce)
                                   : runInWorld(line, console, log);
}

Ending endingOf(const Words& words, CommandLog& log) {
    try {
        return {runCommand(words, log)};
    } catch (const UsageError& error) {
        return {exitWrongUsage, error.description()};
    } catch (const InvalidInput& error) {
        return {exitWrongUsage, error.description()};
    } catch (const OutputError& error) {
        return {exitFailed, error.isClosedPipe() ? "" : error.description()};
    } catch (const Cancelled&) {
        return {exitInterrupted, "interrupted; whatever was done is whole."};
    } catch (const Error& error) {
        return {exitFailed, withAdvice(error.description(), error.advice())};
    } catch (const std::exception& error) {
        return {exitFailed, describe(error)};
    }
}

/// With --json standard output is one document, whatever happens.
void tellFailureAsJson(const Ending& ending) {
    const std::string document =
        toJsonText(OrderedJson{{"error", toValidUtf8(ending.failure)}}) + "\n";
    try {
        writeToStandardOutput(document);
    } catch (const OutputError&) {
        // The failure is told on standard error, and by the exit status.
    }
}

int run(const Words& words) {
    CommandLog log;
    const Ending ending = endingOf(words, log);
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
        return nookery::cli::run({arguments + 1, arguments + argumentCount});
    } catch (const std::exception& error) {
        nookery::StderrLog().line("nookery: " + nookery::describe(error));
        return nookery::cli::exitFailed;
    }
}
