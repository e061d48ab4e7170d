#include "backends/cryptography/OpenSslEncryption.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include "foundation/Error.h"

namespace nookery {
namespace {

/// These calls fail only when OpenSSL is broken or out of memory.
void check(bool succeeded) {
    if (!succeeded) throw Error("Could not encrypt or decrypt: the cryptography library failed.");
}

unsigned char* octets(std::byte* bytes) { return reinterpret_cast<unsigned char*>(bytes); }
const unsigned char* octets(const std::byte* bytes) {
    return reinterpret_cast<const unsigned char*>(bytes);
}

using Context = std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)>;

/// Freeing the context wipes its copy of the key.
Context makeContext() { return {EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free}; }

/// OpenSSL counts bytes in an int.
constexpr std::size_t longestStep = std::size_t{1} << 30;

template <typename Update>
void inSteps(std::span<const std::byte> input, std::span<std::byte> output, Update update) {
    check(input.size() == output.size());
    for (std::size_t done = 0; done < input.size();) {
        const std::size_t count = std::min(longestStep, input.size() - done);
        int written = 0;
        check(update(octets(output.data() + done), &written, octets(input.data() + done),
                     static_cast<int>(count)) == 1);
        check(written == static_cast<int>(count));
        done += count;
    }
}

class OpenSslSealing final : public SealingStream {
  public:
    OpenSslSealing(const EncryptionKey& key, const EncryptionNonce& nonce)
        : context_(makeContext()) {
        check(context_ &&
              EVP_EncryptInit_ex(context_.get(), EVP_aes_256_gcm(), nullptr,
                                 octets(key.bytes().data()), octets(nonce.data())) == 1);
    }

    void update(std::span<const std::byte> plain, std::span<std::byte> sealed) override {
        inSteps(plain, sealed, [this](auto... arguments) {
            return EVP_EncryptUpdate(context_.get(), arguments...);
        });
    }

    AuthenticationTag finish() override {
        int written = 0;
        unsigned char none = 0;
        check(EVP_EncryptFinal_ex(context_.get(), &none, &written) == 1);
        AuthenticationTag tag{};
        check(EVP_CIPHER_CTX_ctrl(context_.get(), EVP_CTRL_GCM_GET_TAG,
                                  static_cast<int>(tag.size()), tag.data()) == 1);
        return tag;
    }

  private:
    Context context_;
};

class OpenSslOpening final : public OpeningStream {
  public:
    OpenSslOpening(const EncryptionKey& key, const EncryptionNonce& nonce)
        : context_(makeContext()) {
        check(context_ &&
              EVP_DecryptInit_ex(context_.get(), EVP_aes_256_gcm(), nullptr,
                                 octets(key.bytes().data()), octets(nonce.data())) == 1);
    }

    void update(std::span<const std::byte> sealed, std::span<std::byte> plain) override {
        inSteps(sealed, plain, [this](auto... arguments) {
            return EVP_DecryptUpdate(context_.get(), arguments...);
        });
    }

    bool finish(const AuthenticationTag& tag) override {
        AuthenticationTag expected = tag;
        check(EVP_CIPHER_CTX_ctrl(context_.get(), EVP_CTRL_GCM_SET_TAG,
                                  static_cast<int>(expected.size()), expected.data()) == 1);
        int written = 0;
        unsigned char none = 0;
        return EVP_DecryptFinal_ex(context_.get(), &none, &written) == 1;
    }

  private:
    Context context_;
};

class OpenSslEncryption final : public AuthenticatedEncryption {
  public:
    EncryptionNonce randomNonce() const override {
        EncryptionNonce nonce{};
        check(RAND_bytes(octets(nonce.data()), static_cast<int>(nonce.size())) == 1);
        return nonce;
    }
    std::unique_ptr<SealingStream> seal(const EncryptionKey& key,
                                        const EncryptionNonce& nonce) const override {
        return std::make_unique<OpenSslSealing>(key, nonce);
    }
    std::unique_ptr<OpeningStream> open(const EncryptionKey& key,
                                        const EncryptionNonce& nonce) const override {
        return std::make_unique<OpenSslOpening>(key, nonce);
    }
};

}  // namespace

std::unique_ptr<AuthenticatedEncryption> makeOpenSslEncryption() {
    return std::make_unique<OpenSslEncryption>();
}

}  // namespace nookery
