#include "cli/context/DesktopOpener.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

#include "foundation/Error.h"
#include "foundation/FileSystem.h"
#include "workspace/OpenTarget.h"

namespace nookery::cli {
namespace {

/// How the opener is started.
class SpawnAttributes {
  public:
    SpawnAttributes() {
        ::posix_spawnattr_init(&attributes_);
        sigset_t none;
        sigemptyset(&none);
        ::posix_spawnattr_setsigmask(&attributes_, &none);
        sigset_t standard;
        sigemptyset(&standard);
        sigaddset(&standard, SIGPIPE);
        ::posix_spawnattr_setsigdefault(&attributes_, &standard);
        ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        ::posix_spawn_file_actions_init(&actions_);
        ::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    }
    ~SpawnAttributes() {
        ::posix_spawn_file_actions_destroy(&actions_);
        ::posix_spawnattr_destroy(&attributes_);
    }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    const posix_spawnattr_t* attributes() const { return &attributes_; }
    const posix_spawn_file_actions_t* actions() const { return &actions_; }

  private:
    posix_spawnattr_t attributes_;
    posix_spawn_file_actions_t actions_;
};

}  // namespace

void openOnDesktop(const std::string& target) {
    demandOpenable(target);
    const SpawnAttributes how;
    std::string program = "xdg-open";
    std::string argument = target;
    std::array<char*, 3> words{program.data(), argument.data(), nullptr};
    pid_t child = 0;
    const int failure = ::posix_spawnp(&child, program.c_str(), how.actions(), how.attributes(),
                                       words.data(), environ);
    int status = 0;
    if (failure != 0 || ::waitpid(child, &status, 0) != child || status != 0) {
        throw Error(
            fmt::format("The desktop could not open {} (by xdg-open).", displayName(Path(target))));
    }
}

}  // namespace nookery::cli
