#include "support/TestKeyring.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace nookery::testing {
namespace {

constexpr const char* busProgram = "/usr/bin/dbus-run-session";
constexpr const char* daemonProgram = "/usr/bin/gnome-keyring-daemon";

/// Says the bus's address and the daemon's process once the daemon has taken its name; asking the
/// bus itself starts no second daemon. Ends when its input does, and the bus with it, so that
/// nothing stays behind a test that is killed.
constexpr const char* sessionScript = R"(
gnome-keyring-daemon --unlock --foreground --components=secrets >/dev/null <<END &
password of the test
END
daemon=$!
until dbus-send --session --print-reply --dest=org.freedesktop.DBus / \
    org.freedesktop.DBus.NameHasOwner string:org.freedesktop.secrets | grep -q true; do
  kill -0 $daemon || exit 1
done
echo "$DBUS_SESSION_BUS_ADDRESS"
echo $daemon
exec cat >/dev/null
)";

/// In the child: becomes the session. Never returns.
[[noreturn]] void becomeSession(int input, int output, const Path& home) {
    ::dup2(input, STDIN_FILENO);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(::open("/dev/null", O_WRONLY), STDERR_FILENO);
    const std::string homeSetting = "HOME=" + home.native();
    const std::string dataSetting = "XDG_DATA_HOME=" + home.native() + "/data";
    const std::string runtimeSetting = "XDG_RUNTIME_DIR=" + home.native();
    const std::array<const char*, 5> environment{"PATH=/usr/bin:/bin", homeSetting.c_str(),
                                                 dataSetting.c_str(), runtimeSetting.c_str(),
                                                 nullptr};
    ::execle(busProgram, busProgram, "--", "/bin/sh", "-c", sessionScript, nullptr,
             const_cast<char* const*>(environment.data()));
    ::_exit(127);
}

std::string lineOf(FILE* stream) {
    std::array<char, 4096> buffer{};
    if (::fgets(buffer.data(), buffer.size(), stream) == nullptr) return {};
    const std::string text = buffer.data();
    return text.substr(0, text.find('\n'));
}

}  // namespace

std::unique_ptr<TestKeyring> TestKeyring::start() {
    for (const char* program : {busProgram, daemonProgram}) {
        if (::access(program, X_OK) != 0) return nullptr;
    }
    std::unique_ptr<TestKeyring> keyring(new TestKeyring);
    keyring->run();
    return keyring;
}

void TestKeyring::run() {
    std::array<int, 2> input{}, output{};
    ASSERT_EQ(::pipe2(input.data(), O_CLOEXEC), 0);
    ASSERT_EQ(::pipe2(output.data(), O_CLOEXEC), 0);
    session_ = ::fork();
    if (session_ == 0) becomeSession(input[0], output[1], home_.path());
    ::close(input[0]);
    ::close(output[1]);
    lifeline_ = input[1];
    FILE* const answers = ::fdopen(output[0], "r");
    busAddress_ = lineOf(answers);
    const std::string daemon = lineOf(answers);
    ::fclose(answers);
    ASSERT_FALSE(daemon.empty()) << "the keyring did not start";
    daemon_ = std::stoi(daemon);
}

TestKeyring::~TestKeyring() {
    if (session_ <= 0) return;
    if (daemon_ > 0) ::kill(daemon_, SIGKILL);
    ::close(lifeline_);
    ::waitpid(session_, nullptr, 0);
}

void TestKeyring::lock() const {
    const std::string command =
        "DBUS_SESSION_BUS_ADDRESS='" + busAddress_ +
        "' dbus-send --session --print-reply --dest=org.freedesktop.secrets "
        "/org/freedesktop/secrets org.freedesktop.Secret.Service.Lock "
        "array:objpath:/org/freedesktop/secrets/collection/login >/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
}

void TestKeyring::hang() const { ASSERT_EQ(::kill(daemon_, SIGSTOP), 0); }

void TestKeyring::end() const { ASSERT_EQ(::kill(daemon_, SIGKILL), 0); }

}  // namespace nookery::testing
