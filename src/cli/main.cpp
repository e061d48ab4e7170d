#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <stop_token>

#include "archive/RestoreAtStart.h"
#include "backends/StderrLog.h"
#include "backends/SystemPlatform.h"
#include "cli/Places.h"
#include "cli/context/CommandContext.h"
#include "cli/line/CommandLine.h"
#include "cli/line/Help.h"
#include "cli/output/CommandLog.h"
#include "cli/output/TextLayout.h"
#include "foundation/DatabaseError.h"
#include "foundation/Text.h"

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
int runInWorld(const CommandLine& line, const Interrupts& interrupts, Output& output, Log& log) {
    const Places places =
        findPlaces(processEnvironment(), line.arguments.value("data-home"), workingFolder());
    SystemPlatform system({.configFolder = places.configHome,
                           .userData = places.userData,
                           .programFolder = programFolder(),
                           .cloudFolder = places.cloudHome,
                           .keyStoreFile = places.keyStoreFile},
                          log);
    // What waits for the main loop looks again when the person interrupts.
    const std::stop_callback wake(interrupts.token(), [&] { system.mainLoop().async([] {}); });
    CommandContext context({.platform = system.platform(),
                            .runUntil = [&](const auto& done) { system.mainLoop().runUntil(done); },
                            .interrupts = interrupts,
                            .layout = {places.dataHome, places.cacheHome}},
                           output, line.arguments);
    if (!line.command->leavesRestoresWaiting) {
        completeWaitingRestores(context.platform(), context.layout());
    }
    return line.command->run(context, line.arguments);
}

int runCommand(const Words& words, const Interrupts& interrupts, Output& output, CommandLog& log) {
    const CommandLine line = parseCommandLine(words);
    if (line.command == nullptr) {
        output.write(line.arguments.has("version") ? versionText(line.arguments.has("json"))
                                                   : programHelp());
        return line.arguments.has("version") ? exitDone : exitWrongUsage;
    }
    if (line.command->isLasting) {
        StderrLog atOnce;
        return runInWorld(line, interrupts, output, atOnce);
    }
    if (line.command->text == nullptr) return runInWorld(line, interrupts, output, log);
    const std::string text = line.command->text(line.arguments);
    output.write(line.arguments.has("json") ? toJsonText(OrderedJson{{"text", text}}) + "\n"
                                            : text);
    return exitDone;
}

Ending endingOf(const Words& words, Output& output, CommandLog& log) {
    const Interrupts interrupts;
    try {
        const int status = runCommand(words, interrupts, output, log);
        output.flush();
        return {status};
    } catch (const UsageError& error) {
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
void tellFailureAsJson(Output& output, const Ending& ending) {
    try {
        output.writeLine(toJsonText(OrderedJson{{"error", toValidUtf8(ending.failure)}}));
        output.flush();
    } catch (const OutputError&) {
        // The failure is told on standard error, and by the exit status.
    }
}

int run(const Words& words) {
    Output output;
    CommandLog log;
    const Ending ending = endingOf(words, output, log);
    StderrLog standardError;
    log.release(standardError, ending.failure);
    if (ending.failure.empty()) return ending.status;
    if (std::find(words.begin(), words.end(), "--json") != words.end()) {
        tellFailureAsJson(output, ending);
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
