#include "backends/cryptography/OpenSslDigest.h"

#include <openssl/evp.h>

#include "foundation/Error.h"

namespace nookery {
namespace {

/// OpenSSL's digest calls fail only when it is broken or out of memory.
void check(int result) {
    if (result != 1) throw Error("Could not compute a SHA-256 digest.");
}

class OpenSslSha256 final : public Sha256Stream {
  public:
    OpenSslSha256() : context_(EVP_MD_CTX_new(), &EVP_MD_CTX_free) {
        check(context_ != nullptr && EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr));
    }

    void update(std::span<const std::byte> bytes) override {
        check(EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()));
    }

    Sha256Digest finish() override {
        Sha256Digest digest;
        check(EVP_DigestFinal_ex(context_.get(), digest.bytes.data(), nullptr));
        return digest;
    }

  private:
    std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context_;
};

class OpenSslDigester final : public ContentDigester {
  public:
    std::unique_ptr<Sha256Stream> sha256() const override {
        return std::make_unique<OpenSslSha256>();
    }
};

}  // namespace

std::unique_ptr<ContentDigester> makeOpenSslDigester() {
    return std::make_unique<OpenSslDigester>();
}

}  // namespace nookery
