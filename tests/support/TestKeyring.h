#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

#include "support/TemporaryDirectory.h"

namespace nookery::testing {

/// A real keyring on a message bus of its own, in a home of its own: nothing of the machine's user
/// is in reach. Its default keyring is unlocked. Gone with all it holds when destroyed.
class TestKeyring {
  public:
    /// Null where the bus or the keyring's daemon is not installed.
    static std::unique_ptr<TestKeyring> start();
    ~TestKeyring();
    TestKeyring(const TestKeyring&) = delete;
    TestKeyring& operator=(const TestKeyring&) = delete;

    /// For DBUS_SESSION_BUS_ADDRESS.
    const std::string& busAddress() const { return busAddress_; }
    void lock() const;
    /// The daemon neither answers nor ends.
    void hang() const;
    /// The daemon ends, the bus stays.
    void end() const;

  private:
    TestKeyring() = default;
    void run();

    TemporaryDirectory home_;
    pid_t session_ = -1;
    int lifeline_ = -1;  ///< while it is open, the bus runs
    pid_t daemon_ = -1;
    std::string busAddress_;
};

}  // namespace nookery::testing
