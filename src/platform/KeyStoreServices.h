#pragma once

#include <string>
#include <string_view>

namespace nookery {

/// The application identifier of a developer's build, whose secrets are kept apart.
inline constexpr std::string_view developmentApplicationIdentifier =
    "com.kestrelhq.nookery.development";

/// Under which services the program's secrets stand in the key store.
class KeyStoreServices {
  public:
    explicit KeyStoreServices(std::string_view applicationIdentifier)
        : suffix_(applicationIdentifier == developmentApplicationIdentifier ? ".development" : "") {
    }

    /// The key that this computer shares with the phone, under `pairedKeyAccount`: 32 bytes.
    std::string pairedKey() const {
        return "com.kestrel.Nookery.Mac.SecurePairing.v1" + std::string(suffix_);
    }
    /// The values of single memories; the account is the memory's identifier.
    std::string secureValues() const { return "com.kestrelhq.Crumb.secure" + std::string(suffix_); }

  private:
    std::string_view suffix_;
};

inline constexpr std::string_view pairedKeyAccount = "paired-iphone-key";

}  // namespace nookery
