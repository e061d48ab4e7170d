#pragma once

#include <memory>
#include <string>

namespace companion {

/// Where the computer keeps the key that it shares with the phone. The simulator's phone has no
/// memory of its own: it takes the key from there too.
class PhoneKey {
  public:
    /// "secret-service" or "file:PATH".
    static std::unique_ptr<PhoneKey> at(const std::string& keyStore);

    virtual ~PhoneKey() = default;
    /// 32 bytes; throws Failure when not paired.
    virtual std::string get() const = 0;
    virtual void set(const std::string& key) = 0;
    /// Nothing there is fine.
    virtual void remove() = 0;
};

}  // namespace companion
