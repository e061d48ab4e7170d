#include "SealedBox.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <memory>

#include "Files.h"

namespace companion {
namespace {

constexpr std::size_t nonceByteCount = 12;
constexpr std::size_t tagByteCount = 16;

struct FreeContext {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using Context = std::unique_ptr<EVP_CIPHER_CTX, FreeContext>;

unsigned char* bytesOf(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }
const unsigned char* bytesOf(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

void demand(int outcome, const char* what) {
    if (outcome != 1) throw Failure(what);
}

}  // namespace

std::string seal(const std::string& plain, const std::string& key) {
    std::string nonce(nonceByteCount, '\0'), sealed(plain.size(), '\0'), tag(tagByteCount, '\0');
    demand(RAND_bytes(bytesOf(nonce), nonceByteCount), "There are no random numbers.");
    const Context context(EVP_CIPHER_CTX_new());
    int count = 0;
    demand(EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, bytesOf(key),
                              bytesOf(nonce)) == 1 &&
               EVP_EncryptUpdate(context.get(), bytesOf(sealed), &count, bytesOf(plain),
                                 static_cast<int>(plain.size())) == 1 &&
               EVP_EncryptFinal_ex(context.get(), bytesOf(tag), &count) == 1 &&
               EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, tagByteCount,
                                   bytesOf(tag)) == 1,
           "Sealing failed.");
    return nonce + sealed + tag;
}

std::string open(const std::string& box, const std::string& key) {
    if (box.size() < nonceByteCount + tagByteCount) throw Failure("It is too short to be sealed.");
    const std::string sealed =
        box.substr(nonceByteCount, box.size() - nonceByteCount - tagByteCount);
    std::string tag = box.substr(box.size() - tagByteCount);
    std::string plain(sealed.size(), '\0');
    const Context context(EVP_CIPHER_CTX_new());
    int count = 0;
    demand(EVP_DecryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, bytesOf(key),
                              bytesOf(box)) == 1 &&
               EVP_DecryptUpdate(context.get(), bytesOf(plain), &count, bytesOf(sealed),
                                 static_cast<int>(sealed.size())) == 1 &&
               EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, tagByteCount,
                                   bytesOf(tag)) == 1 &&
               EVP_DecryptFinal_ex(context.get(), bytesOf(tag), &count) == 1,
           "It was not sealed with this key, or was changed since.");
    return plain;
}

}  // namespace companion
