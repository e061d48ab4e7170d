#include "backends/reader/ReaderProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

namespace nookery {
namespace {

/// What the new process gets of this one.
class SpawnSetup {
  public:
    explicit SpawnSetup(int socket) {
        ::posix_spawn_file_actions_init(&actions_);
        ::posix_spawn_file_actions_adddup2(&actions_, socket, STDIN_FILENO);
        for (const int output : {STDOUT_FILENO, STDERR_FILENO}) {
            ::posix_spawn_file_actions_addopen(&actions_, output, "/dev/null", O_WRONLY, 0);
        }
        // Libraries may have opened files without the mark that closes them.
        ::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
        ::posix_spawnattr_init(&attributes_);
        sigset_t signals;
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&attributes_, &signals);
        ::sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&attributes_, &signals);
        // A group of its own: Ctrl-C is for the program, which decides what ends.
        ::posix_spawnattr_setpgroup(&attributes_, 0);
        ::posix_spawnattr_setflags(
            &attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    }
    ~SpawnSetup() {
        ::posix_spawnattr_destroy(&attributes_);
        ::posix_spawn_file_actions_destroy(&actions_);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    /// Returns an error number, 0 on success.
    int spawn(const Path& program, ReaderSubject subject, pid_t& process) const {
        std::string name = program.filename();
        std::string argument(nameOf(subject));
        std::string version(readerVersion());
        char* const arguments[] = {name.data(), argument.data(), version.data(), nullptr};
        return ::posix_spawn(&process, program.c_str(), &actions_, &attributes_, arguments,
                             environ);
    }

  private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

int waitFor(pid_t process, int options, int& status) {
    int result = -1;
    do {
        result = ::waitpid(process, &status, options);
    } while (result < 0 && errno == EINTR);
    return result;
}

}  // namespace

int currentNiceness() { return ::getpriority(PRIO_PROCESS, static_cast<id_t>(::gettid())); }

ReaderProcess::ReaderProcess(const std::vector<Path>& programs, ReaderSubject subject)
    : subject_(subject), niceness_(currentNiceness()) {
    std::array<int, 2> ends{-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw FileError("start", programs.back(), errno);
    }
    socket_ = ends[0];
    int failure = ENOENT;
    {
        const SpawnSetup setup(ends[1]);
        for (const Path& program : programs) {
            failure = setup.spawn(program, subject, process_);
            if (failure != ENOENT) break;
        }
    }
    ::close(ends[1]);
    if (failure == 0) return;
    ::close(socket_);
    throw FileError("start", programs.back(), failure);
}

ReaderProcess::~ReaderProcess() {
    end();
    ::close(socket_);
}

void ReaderProcess::interrupt() const { ::shutdown(socket_, SHUT_RDWR); }

bool ReaderProcess::hasEnded() {
    if (process_ > 0 && waitFor(process_, WNOHANG, status_) != 0) process_ = -1;
    return process_ <= 0;
}

int ReaderProcess::end() {
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        waitFor(process_, 0, status_);
        process_ = -1;
    }
    return status_;
}

}  // namespace nookery
