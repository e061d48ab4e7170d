#include "PhoneKey.h"

#include <fmt/format.h>
#include <libsecret/secret.h>
#include <openssl/evp.h>
#include <sys/stat.h>

#include "Files.h"

namespace companion {
namespace {

constexpr const char* service = "com.kestrel.Nookery.Mac.SecurePairing.v1";
constexpr const char* account = "paired-iphone-key";
constexpr std::size_t keyByteCount = 32;

std::string checked(const std::string& key) {
    if (key.size() == keyByteCount) return key;
    throw Failure(fmt::format("The paired key has {} bytes.", key.size()));
}

std::string toBase64(const std::string& bytes) {
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
    const int count = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                                      reinterpret_cast<const unsigned char*>(bytes.data()),
                                      static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(count));
    return text;
}

std::string fromBase64(const std::string& text) {
    std::string bytes(text.size() / 4 * 3, '\0');
    const int count = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                                      reinterpret_cast<const unsigned char*>(text.data()),
                                      static_cast<int>(text.size()));
    if (count < 0) throw Failure("The paired key is not base64.");
    // The decoder counts the padding's bytes too.
    const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
    bytes.resize(static_cast<std::size_t>(count) - padding);
    return bytes;
}

class KeyInFile final : public PhoneKey {
  public:
    explicit KeyInFile(Path path) : path_(std::move(path)) {}

    std::string get() const override {
        const Json secrets = load();
        if (!secrets.contains(service) || !secrets[service].contains(account)) {
            throw Failure("Not paired: there is no key in " + path_.native() + ".");
        }
        return checked(fromBase64(secrets[service][account].get<std::string>()));
    }

    void set(const std::string& key) override {
        Json secrets = load();
        secrets[service][account] = toBase64(key);
        save(secrets);
    }

    void remove() override {
        Json secrets = load();
        if (secrets.contains(service)) secrets[service].erase(account);
        save(secrets);
    }

  private:
    Json load() const { return std::filesystem::exists(path_) ? readJson(path_) : Json::object(); }

    void save(const Json& secrets) const {
        ::umask(0077);
        writeFile(path_, secrets.dump(2) + "\n");
    }

    Path path_;
};

class KeyInKeyring final : public PhoneKey {
  public:
    std::string get() const override {
        GError* error = nullptr;
        SecretValue* value = secret_password_lookup_binary_sync(
            &schema, nullptr, &error, "service", service, "account", account, nullptr);
        demandNone(error);
        if (value == nullptr) throw Failure("Not paired: there is no key in the keyring.");
        gsize length = 0;
        const gchar* bytes = secret_value_get(value, &length);
        std::string key(bytes, length);
        secret_value_unref(value);
        return checked(key);
    }

    void set(const std::string& key) override {
        GError* error = nullptr;
        SecretValue* value = secret_value_new(key.data(), static_cast<gssize>(key.size()),
                                              "application/octet-stream");
        secret_password_store_binary_sync(&schema, SECRET_COLLECTION_DEFAULT, "Nookery phone key",
                                          value, nullptr, &error, "service", service, "account",
                                          account, nullptr);
        secret_value_unref(value);
        demandNone(error);
    }

    void remove() override {
        GError* error = nullptr;
        secret_password_clear_sync(&schema, nullptr, &error, "service", service, "account", account,
                                   nullptr);
        demandNone(error);
    }

  private:
    static void demandNone(GError* error) {
        if (error == nullptr) return;
        const std::string message = error->message;
        g_error_free(error);
        throw Failure("The keyring: " + message);
    }

    static constexpr SecretSchema schema = {
        "org.freedesktop.Secret.Generic",
        SECRET_SCHEMA_DONT_MATCH_NAME,
        {{"service", SECRET_SCHEMA_ATTRIBUTE_STRING}, {"account", SECRET_SCHEMA_ATTRIBUTE_STRING}},
        0,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
        nullptr};
};

}  // namespace

std::unique_ptr<PhoneKey> PhoneKey::at(const std::string& keyStore) {
    if (keyStore == "secret-service") return std::make_unique<KeyInKeyring>();
    if (keyStore.starts_with("file:")) return std::make_unique<KeyInFile>(keyStore.substr(5));
    throw Failure("--keystore is \"secret-service\" or \"file:PATH\".");
}

}  // namespace companion
