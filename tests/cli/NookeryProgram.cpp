#include "cli/NookeryProgram.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

#include "cli/NameWatch.h"

namespace nookery::testing {
namespace {

constexpr int patienceMilliseconds = 600'000;

struct Pipe {
    Pipe() { EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0); }
    int reading() const { return ends[0]; }
    int writing() const { return ends[1]; }
    std::array<int, 2> ends{-1, -1};
};

/// In the child: becomes the program. Never returns.
[[noreturn]] void become(const std::string& program, const std::vector<std::string>& arguments,
                         const std::map<std::string, std::string>& extra, const Path& home) {
    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::map<std::string, std::string> variables = extra;
    variables.insert({{"HOME", home.native()},
                      {"PATH", "/usr/bin:/bin"},
                      {"TZ", "UTC"},
                      {"TERM", "xterm"},
                      {"XDG_RUNTIME_DIR", (home / ".run").native()}});
    std::vector<std::string> environment;
    for (const auto& [name, value] : variables) environment.push_back(name + "=" + value);
    const auto pointers = [](std::vector<std::string>& strings) {
        std::vector<char*> list;
        for (std::string& string : strings) list.push_back(string.data());
        list.push_back(nullptr);
        return list;
    };
    // A test that is given up leaves nothing behind that runs.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    if (::chdir(home.c_str()) != 0) ::_exit(126);
    ::execve(program.c_str(), pointers(words).data(), pointers(environment).data());
    ::_exit(127);
}

int exitStatusOf(pid_t process) {
    int status = 0;
    EXPECT_EQ(::waitpid(process, &status, 0), process);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// Reads what there is; false at the end.
bool drain(int descriptor, std::string& into) {
    std::array<char, 65536> buffer{};
    const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
    if (count > 0) into.append(buffer.data(), static_cast<std::size_t>(count));
    return count > 0;
}

}  // namespace

std::string theProgramUnderTest() { return NOOKERY_PROGRAM; }

Json Outcome::json() const {
    try {
        return parseJson(out);
    } catch (const Error& failure) {
        ADD_FAILURE() << "not one JSON document: " << failure.what() << "\n" << out << error;
        return {};
    }
}

NookeryProgram::Running::Running(pid_t process, int input, int output, int error)
    : process_(process), input_(input), output_(output), error_(error) {}

NookeryProgram::Running::~Running() {
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        exitStatusOf(process_);
    }
    for (const int descriptor : {input_, output_, error_}) {
        if (descriptor >= 0) ::close(descriptor);
    }
}

void NookeryProgram::Running::signal(int number) const { ::kill(process_, number); }

void NookeryProgram::Running::closeInput() {
    ::close(input_);
    input_ = -1;
}

void NookeryProgram::Running::type(const std::string& line) {
    const std::string typed = line + "\n";
    EXPECT_EQ(::write(input_, typed.data(), typed.size()), ssize_t(typed.size()));
}

std::string NookeryProgram::Running::hear() {
    std::string answer;
    while (!answer.ends_with('\n')) {
        pollfd source{output_, POLLIN, 0};
        if (::poll(&source, 1, patienceMilliseconds) <= 0 || !drain(output_, answer)) {
            ADD_FAILURE() << "no answer but " << answer;
            break;
        }
    }
    return answer;
}

Outcome NookeryProgram::Running::finish(const std::string& input) {
    return readToTheEnd(input, true);
}

Outcome NookeryProgram::Running::finishWhileItWaits() { return readToTheEnd({}, false); }

Outcome NookeryProgram::Running::readToTheEnd(std::string_view rest, bool closesInput) {
    Outcome outcome;
    while (output_ >= 0 || error_ >= 0) {
        if (rest.empty() && input_ >= 0 && closesInput) closeInput();
        std::array<pollfd, 3> sources{pollfd{rest.empty() ? -1 : input_, POLLOUT, 0},
                                      pollfd{output_, POLLIN, 0}, pollfd{error_, POLLIN, 0}};
        if (::poll(sources.data(), sources.size(), patienceMilliseconds) <= 0) {
            ADD_FAILURE() << "the program hangs";
            signal(SIGKILL);
        }
        if (sources[0].revents != 0) {
            const ssize_t count =
                ::write(input_, rest.data(), std::min<std::size_t>(rest.size(), 4096));
            rest.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : rest.size());
        }
        const auto read = [](const pollfd& source, int& descriptor, std::string& into) {
            if (source.revents == 0 || drain(descriptor, into)) return;
            ::close(descriptor);
            descriptor = -1;
        };
        read(sources[1], output_, outcome.out);
        read(sources[2], error_, outcome.error);
    }
    outcome.status = exitStatusOf(process_);
    process_ = -1;
    return outcome;
}

void NookeryProgram::beginWatching() const {
    ::mkdir((home / ".run").c_str(), 0700);
    ::mkdir((home / ".run/nookery").c_str(), 0700);
    const NameWatch names(home / ".run/nookery");
    watching_ = start({"watch"});
    names.waitFor(1);
}

void NookeryProgram::prepareFor(const std::vector<std::string>& arguments) const {
    ::mkdir((home / ".run").c_str(), 0700);
    const bool isWatch = !arguments.empty() && arguments.front() == "watch";
    const bool hasLibrary = ::access((library / "crumb.sqlite3").c_str(), F_OK) == 0;
    if (isBesideWatch_ && !watching_ && !isWatch && hasLibrary) beginWatching();
}

std::unique_ptr<NookeryProgram::Running> NookeryProgram::start(
    const std::vector<std::string>& arguments, const RunOptions& options) const {
    ::signal(SIGPIPE, SIG_IGN);
    prepareFor(arguments);
    const Pipe input, output, error;
    const pid_t process = ::fork();
    if (process == 0) {
        ::signal(SIGPIPE, SIG_DFL);
        ::dup2(input.reading(), STDIN_FILENO);
        ::dup2(options.outputTo.empty() ? output.writing()
                                        : ::open(options.outputTo.c_str(), O_WRONLY | O_CLOEXEC),
               STDOUT_FILENO);
        ::dup2(error.writing(), STDERR_FILENO);
        become(program, arguments, options.environment, home.path());
    }
    for (const int descriptor : {input.reading(), output.writing(), error.writing()}) {
        ::close(descriptor);
    }
    int reading = output.reading();
    if (options.closeOutput) {
        ::close(reading);
        reading = -1;
    }
    return std::make_unique<Running>(process, input.writing(), reading, error.reading());
}

Outcome NookeryProgram::run(const std::vector<std::string>& arguments,
                            const RunOptions& options) const {
    return start(arguments, options)->finish(options.input);
}

Json NookeryProgram::json(std::vector<std::string> arguments, const RunOptions& options) const {
    arguments.insert(arguments.begin(), "--json");
    const Outcome outcome = run(arguments, options);
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.error;
    return outcome.json();
}

Outcome NookeryProgram::runOnTerminal(const std::vector<std::string>& arguments,
                                      const std::string& prompt, const std::string& typed) const {
    prepareFor(arguments);
    int terminal = -1;
    winsize size{.ws_row = 40, .ws_col = 100, .ws_xpixel = 0, .ws_ypixel = 0};
    const pid_t process = ::forkpty(&terminal, nullptr, nullptr, &size);
    if (process == 0) become(program, arguments, {}, home.path());
    Outcome outcome;
    bool answered = false;
    while (drain(terminal, outcome.out)) {
        if (answered || outcome.out.find(prompt) == std::string::npos) continue;
        EXPECT_EQ(::write(terminal, typed.data(), typed.size()), ssize_t(typed.size()));
        answered = true;
    }
    ::close(terminal);
    EXPECT_TRUE(answered) << outcome.out;
    outcome.status = exitStatusOf(process);
    return outcome;
}

}  // namespace nookery::testing
