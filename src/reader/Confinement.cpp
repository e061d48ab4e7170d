#include "reader/Confinement.h"

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/landlock.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <thread>
#include <vector>

namespace nookery {
namespace {

/// Files can be read, and changed or made nowhere but in /dev/null. Without Landlock they cannot
/// grow, at least.
void forbidWriting() {
    const rlimit noGrowth{0, 0};
    ::setrlimit(RLIMIT_FSIZE, &noGrowth);
    landlock_ruleset_attr rules{};
    rules.handled_access_fs =
        LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_REMOVE_DIR |
        LANDLOCK_ACCESS_FS_REMOVE_FILE | LANDLOCK_ACCESS_FS_MAKE_CHAR |
        LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_MAKE_REG | LANDLOCK_ACCESS_FS_MAKE_SOCK |
        LANDLOCK_ACCESS_FS_MAKE_FIFO | LANDLOCK_ACCESS_FS_MAKE_BLOCK | LANDLOCK_ACCESS_FS_MAKE_SYM;
    const auto made =
        static_cast<int>(::syscall(SYS_landlock_create_ruleset, &rules, sizeof rules, 0));
    if (made < 0) return;
    const int nothing = ::open("/dev/null", O_PATH | O_CLOEXEC);
    landlock_path_beneath_attr exception{};
    exception.allowed_access = LANDLOCK_ACCESS_FS_WRITE_FILE;
    exception.parent_fd = nothing;
    ::syscall(SYS_landlock_add_rule, made, LANDLOCK_RULE_PATH_BENEATH, &exception, 0);
    ::close(nothing);
    ::syscall(SYS_landlock_restrict_self, made, 0);
    ::close(made);
}

#if defined(__x86_64__)
constexpr std::uint32_t architecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr std::uint32_t architecture = AUDIT_ARCH_AARCH64;
#else
constexpr std::uint32_t architecture = 0;
#endif

/// Refuses these calls with "not permitted". Numbers of another architecture end the process, and
/// so do those of the 32-bit variant of the same one.
template <typename Number, std::size_t count>
void refuseCalls(const std::array<Number, count>& calls) {
    if (architecture == 0) return;
    constexpr std::uint32_t variantBit = 0x40000000;
    std::vector<sock_filter> filter{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, architecture, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, variantBit, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS)};
    for (const Number call : calls) {
        const auto number = static_cast<std::uint32_t>(call);
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program, 0, 0);
}

/// Other programs and their memory, keys, and what Landlock leaves of changing files.
constexpr std::array never{
    SYS_execve,   SYS_execveat,  SYS_ptrace,   SYS_process_vm_readv, SYS_process_vm_writev,
    SYS_kill,     SYS_tkill,     SYS_keyctl,   SYS_add_key,          SYS_io_uring_setup,
    SYS_truncate, SYS_fchmod,    SYS_fchmodat, SYS_fchownat,         SYS_utimensat,
    SYS_setxattr, SYS_lsetxattr,
#ifdef SYS_chmod
    SYS_chmod,    SYS_chown,     SYS_lchown,
#endif
};
constexpr std::array connecting{SYS_socket, SYS_connect};

}  // namespace

void confine(ReaderSubject subject) {
    const rlimit noCore{0, 0};
    ::setrlimit(RLIMIT_CORE, &noCore);
    ::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return;
    // What is drawn comes from the program itself; the list of fonts is kept between processes.
    if (subject != ReaderSubject::drawing) forbidWriting();
    refuseCalls(never);
    if (subject != ReaderSubject::web) refuseCalls(connecting);
}

void limitWhatFollows(const ReaderBounds& bounds) {
    rusage used{};
    ::getrusage(RUSAGE_SELF, &used);
    const auto seconds = static_cast<rlim_t>(used.ru_utime.tv_sec + used.ru_stime.tv_sec);
    const rlimit time{seconds + static_cast<rlim_t>(bounds.processorTime.count()), RLIM_INFINITY};
    const rlimit memory{bounds.memoryByteCount, bounds.memoryByteCount};
    ::setrlimit(RLIMIT_CPU, &time);
    ::setrlimit(RLIMIT_AS, &memory);
}

void endWith(int socket) {
    std::thread([socket] {
        pollfd other{socket, 0, 0};
        while (::poll(&other, 1, -1) < 0 && errno == EINTR) {
        }
        ::_exit(0);
    }).detach();
}

}  // namespace nookery
