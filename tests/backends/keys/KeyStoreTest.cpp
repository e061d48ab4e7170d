#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <map>

#include "backends/keys/FileKeyStore.h"
#include "backends/keys/SecretServiceKeyStore.h"
#include "support/FaultyFileSystem.h"
#include "support/TemporaryDirectory.h"
#include "support/TestKeyring.h"

namespace nookery::testing {
namespace {

using namespace std::chrono_literals;

/// Bytes that no text may hold, 32 of them.
const std::string rawKey = std::string("\0\n\xff\xfe", 4) + std::string(28, '\x80');

void expectUnavailable(KeyStore& store) {
    EXPECT_THROW(store.read("service", "account"), KeyStoreUnavailable);
    EXPECT_THROW(store.write("service", "account", "secret"), KeyStoreUnavailable);
    EXPECT_THROW(store.remove("service", {"account"}), KeyStoreUnavailable);
}

void expectKeepsSecretsApart(KeyStore& store) {
    EXPECT_EQ(store.read("service", "account"), std::nullopt);
    EXPECT_NO_THROW(store.remove("service", {"account"}));
    store.write("service", "account", "earlier");
    store.write("service", "account", rawKey);
    store.write("service", "other", "");
    store.write("service.development", "account", "apart");
    EXPECT_EQ(store.read("service", "account"), rawKey);
    EXPECT_EQ(store.read("service", "other"), "");
    EXPECT_EQ(store.read("Service", "account"), std::nullopt);
    store.remove("service", {"nobody", "account"});
    EXPECT_EQ(store.read("service", "account"), std::nullopt);
    EXPECT_EQ(store.read("service", "other"), "");
    EXPECT_EQ(store.read("service.development", "account"), "apart");
}

class FileKeyStoreTest : public ::testing::Test {
  protected:
    TemporaryDirectory folder_;
    std::unique_ptr<FileSystem> realFiles_ = makePosixFileSystem();
    FaultyFileSystem files_{*realFiles_};
    Path path_ = folder_ / "keys.json";
    std::unique_ptr<KeyStore> store_ = makeFileKeyStore(files_, path_);
};

TEST_F(FileKeyStoreTest, KeepsSecretsApartInAFileForItsOwnerAlone) {
    expectKeepsSecretsApart(*store_);
    EXPECT_EQ(makeFileKeyStore(files_, path_)->read("service", "other"), "");
    struct stat status {};
    ASSERT_EQ(::stat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(FileKeyStoreTest, ADamagedFileIsUnavailableAndNeverOverwritten) {
    for (const char* content :
         {"", "{", "[]", R"({"service":"account"})", R"({"service":{"account":7}})"}) {
        folder_.write("keys.json", content);
        expectUnavailable(*store_);
        EXPECT_EQ(folder_.read("keys.json"), content);
    }
    folder_.write("keys.json", R"({"service":{"account":"not base64!"}})");
    EXPECT_THROW(store_->read("service", "account"), KeyStoreUnavailable);
    folder_.write("keys.json", R"({"service":{"account":"c2VjcmV0)");
    try {
        store_->read("service", "account");
        ADD_FAILURE() << "a damaged file was read";
    } catch (const KeyStoreUnavailable& error) {
        EXPECT_EQ(error.description().find("c2V"), std::string::npos) << error.description();
    }
}

TEST_F(FileKeyStoreTest, AMissingFolderIsNotAnEmptyStore) {
    expectUnavailable(*makeFileKeyStore(files_, folder_ / "not mounted" / "keys.json"));
}

class SecretServiceTest : public ::testing::Test {
  protected:
    void SetUp() override {
        keyring_ = TestKeyring::start();
        if (!keyring_) GTEST_SKIP() << "needs dbus-daemon and gnome-keyring";
        useBus(keyring_->busAddress());
    }

    static void useBus(const std::string& address) {
        ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
    }

    std::unique_ptr<FileSystem> realFiles_ = makePosixFileSystem();
    std::unique_ptr<TestKeyring> keyring_;
    std::unique_ptr<KeyStore> store_ = makeSecretServiceKeyStore();
    std::unique_ptr<KeyStore> hasty_ = makeSecretServiceKeyStore(300ms);
};

TEST_F(SecretServiceTest, KeepsSecretsApart) { expectKeepsSecretsApart(*store_); }

TEST_F(SecretServiceTest, ManyCallsLeaveNoConnectionOpen) {
    store_->write("service", "account", rawKey);
    const std::size_t before = realFiles_->list("/proc/self/fd").size();
    constexpr int calls = 200;
    for (int i = 0; i < calls; ++i) EXPECT_EQ(store_->read("service", "account"), rawKey);
    // The library's own thread may still be closing the last few.
    EXPECT_LE(realFiles_->list("/proc/self/fd").size(), before + calls / 10);
}

TEST_F(SecretServiceTest, LockedIsUnavailableWhetherOrNotThereIsSuchASecret) {
    store_->write("service", "account", rawKey);
    keyring_->lock();
    expectUnavailable(*store_);
    EXPECT_THROW(store_->read("service", "never written"), KeyStoreUnavailable);
}

TEST_F(SecretServiceTest, ADaemonThatDiedOrHangsIsUnavailableWithinTheLimit) {
    store_->write("service", "account", rawKey);
    keyring_->hang();
    expectUnavailable(*hasty_);
    keyring_->end();
    // The bus may start the daemon anew, locked, or have none to start.
    EXPECT_THROW(store_->read("service", "account"), KeyStoreUnavailable);
}

TEST_F(SecretServiceTest, NoBusOrASilentOneIsUnavailableWithinTheLimit) {
    TemporaryDirectory folder;
    useBus("unix:path=" + (folder / "nothing").native());
    expectUnavailable(*store_);

    const Path place = folder / "silent";
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(place.native().size(), sizeof address.sun_path);
    place.native().copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listener, 8), 0);
    useBus("unix:path=" + place.native());
    expectUnavailable(*hasty_);
    ::close(listener);
}

}  // namespace
}  // namespace nookery::testing
