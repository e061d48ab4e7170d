#include "support/FakeEncryption.h"

#include <cstdint>
#include <cstring>

#include "foundation/Uuid.h"

namespace nookery::testing {
namespace {

/// A stream of bytes that depends on key and nonce, and a running sum over what was sealed.
class Scrambler {
  public:
    Scrambler(const EncryptionKey& key, const EncryptionNonce& nonce) {
        for (const std::byte byte : key.bytes()) mix(state_, byte);
        for (const std::byte byte : nonce) mix(state_, byte);
        sum_ = state_ + 1;
    }

    std::byte scramble(std::byte byte) {
        state_ = state_ * 6364136223846793005U + 1442695040888963407U;
        return byte ^ static_cast<std::byte>(state_ >> 56);
    }
    void count(std::byte sealed) { mix(sum_, sealed); }
    AuthenticationTag tag() const {
        AuthenticationTag tag{};
        const std::array<std::uint64_t, 2> halves{sum_, ~sum_};
        std::memcpy(tag.data(), halves.data(), tag.size());
        return tag;
    }

  private:
    static void mix(std::uint64_t& sum, std::byte byte) {
        sum = (sum ^ std::to_integer<std::uint64_t>(byte)) * 0x100000001b3U;
    }

    std::uint64_t state_ = 0xcbf29ce484222325U;
    std::uint64_t sum_ = 0;
};

class FakeSealing final : public SealingStream {
  public:
    FakeSealing(const EncryptionKey& key, const EncryptionNonce& nonce) : scrambler_(key, nonce) {}
    void update(std::span<const std::byte> plain, std::span<std::byte> sealed) override {
        for (std::size_t i = 0; i < plain.size(); ++i) {
            sealed[i] = scrambler_.scramble(plain[i]);
            scrambler_.count(sealed[i]);
        }
    }
    AuthenticationTag finish() override { return scrambler_.tag(); }

  private:
    Scrambler scrambler_;
};

class FakeOpening final : public OpeningStream {
  public:
    FakeOpening(const EncryptionKey& key, const EncryptionNonce& nonce) : scrambler_(key, nonce) {}
    void update(std::span<const std::byte> sealed, std::span<std::byte> plain) override {
        for (std::size_t i = 0; i < sealed.size(); ++i) {
            scrambler_.count(sealed[i]);
            plain[i] = scrambler_.scramble(sealed[i]);
        }
    }
    bool finish(const AuthenticationTag& tag) override { return tag == scrambler_.tag(); }

  private:
    Scrambler scrambler_;
};

}  // namespace

EncryptionNonce FakeEncryption::randomNonce() const {
    EncryptionNonce nonce{};
    const Uuid random = Uuid::random();
    std::memcpy(nonce.data(), random.bytes().data(), nonce.size());
    return nonce;
}

std::unique_ptr<SealingStream> FakeEncryption::seal(const EncryptionKey& key,
                                                    const EncryptionNonce& nonce) const {
    return std::make_unique<FakeSealing>(key, nonce);
}

std::unique_ptr<OpeningStream> FakeEncryption::open(const EncryptionKey& key,
                                                    const EncryptionNonce& nonce) const {
    return std::make_unique<FakeOpening>(key, nonce);
}

}  // namespace nookery::testing
