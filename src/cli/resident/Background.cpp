#include "cli/resident/Background.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "foundation/Text.h"

namespace nookery::cli {
namespace {

constexpr useconds_t pauseMicroseconds = 20'000;

int openLog(const Path& log) {
    const int descriptor =
        ::open(log.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0) throw FileError("create", log, errno);
    // Above those of input, output and errors, even when these were closed.
    const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (moved < 0) throw FileError("open", log, errno);
    ::close(descriptor);
    return moved;
}

/// In the new process.
void leaveTerminal(int log) {
    ::setsid();
    const int nothing = ::fcntl(::open("/dev/null", O_RDWR), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::dup2(nothing, STDIN_FILENO);
    ::dup2(nothing, STDOUT_FILENO);
    ::dup2(log, STDERR_FILENO);
    ::close(nothing);
    ::close(log);
}

/// What the process has logged before it ended; its own line begins with the program's name.
std::string lastWords(int log) {
    std::array<char, 4096> bytes{};
    const ssize_t count = ::pread(log, bytes.data(), bytes.size(), 0);
    std::string_view words(bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    constexpr std::string_view name = "nookery: ";
    if (const std::size_t own = words.rfind(name); own != std::string_view::npos) {
        words.remove_prefix(own + name.size());
    }
    return std::string(trimmed(words));
}

Ending waitUntilItListens(pid_t process, int log, const ResidentLookup& resident) {
    while (true) {
        if (resident.isThere()) return {};
        int status = 0;
        if (::waitpid(process, &status, WNOHANG) == process) {
            const int code = WIFEXITED(status) ? WEXITSTATUS(status) : exitFailed;
            return {code == exitDone ? exitFailed : code, lastWords(log)};
        }
        // This process has no queue: all that it does is to wait for the other.
        ::usleep(pauseMicroseconds);
    }
}

}  // namespace

std::optional<Ending> continueInBackground(const ResidentLookup& resident, const Path& log) {
    const int descriptor = openLog(log);
    const pid_t process = ::fork();
    if (process < 0) throw FileError("start", "a process in the background", errno);
    if (process == 0) {
        leaveTerminal(descriptor);
        return std::nullopt;
    }
    Ending ending = waitUntilItListens(process, descriptor, resident);
    ::close(descriptor);
    return ending;
}

}  // namespace nookery::cli
