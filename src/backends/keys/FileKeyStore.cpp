#include "backends/keys/FileKeyStore.h"

#include <fmt/format.h>

#include <mutex>

#include "foundation/Base64.h"
#include "foundation/DurableFile.h"
#include "foundation/Json.h"

namespace nookery {
namespace {

constexpr std::size_t maximumByteCount = 64u << 20;

class FileKeyStore final : public KeyStore {
  public:
    FileKeyStore(FileSystem& files, Path path) : files_(files), path_(std::move(path)) {}

    std::string place() const override {
        return "the unencrypted file " + displayName(path_) + ", open to whoever can read it";
    }

    std::optional<std::string> read(std::string_view service, std::string_view account) override {
        const std::lock_guard lock(mutex_);
        return reported([&]() -> std::optional<std::string> {
            const Json services = load();
            const auto accounts = services.find(service);
            if (accounts == services.end()) return std::nullopt;
            const auto found = accounts->find(account);
            if (found == accounts->end()) return std::nullopt;
            auto bytes = fromBase64(found->get<std::string>());
            if (!bytes) throw JsonError("A secret is not base64.");
            return bytes;
        });
    }

    void write(std::string_view service, std::string_view account,
               std::string_view secret) override {
        const std::lock_guard lock(mutex_);
        reported([&] {
            Json services = load();
            services[std::string(service)][std::string(account)] = toBase64(secret);
            writeDurably(files_, path_, toPrettyJsonText(services));
        });
    }

    void remove(std::string_view service, const std::vector<std::string>& accounts) override {
        const std::lock_guard lock(mutex_);
        reported([&] {
            Json services = load();
            const auto held = services.find(service);
            if (held == services.end()) return;
            std::size_t removed = 0;
            for (const std::string& account : accounts) removed += held->erase(account);
            if (removed > 0) writeDurably(files_, path_, toPrettyJsonText(services));
        });
    }

  private:
    template <typename Work>
    auto reported(const Work& work) const -> decltype(work()) {
        try {
            return work();
        } catch (const KeyStoreUnavailable&) {
            throw;
        } catch (const JsonError&) {
            // The parser's own message may quote the text, and so a secret.
            throw KeyStoreUnavailable("The key store " + displayName(path_) + " is damaged.");
        } catch (const Error& error) {
            throw KeyStoreUnavailable(fmt::format("The key store {} is unavailable: {}",
                                                  displayName(path_), error.description()));
        }
    }

    /// Throws JsonError unless the document has the right shape throughout.
    Json load() const {
        if (!files_.status(path_)) {
            if (files_.statusFollowingLinks(path_.parent_path())) return Json::object();
            throw KeyStoreUnavailable("The key store " + displayName(path_) +
                                      " is unavailable: its folder is missing.");
        }
        Json services = parseJson(readWholeFile(files_, path_, maximumByteCount));
        const auto isObject = [](const Json& json) { return json.is_object(); };
        if (!isObject(services) || !std::all_of(services.begin(), services.end(), isObject)) {
            throw JsonError("A service is no object.");
        }
        for (const Json& accounts : services) {
            for (const Json& secret : accounts) {
                if (!secret.is_string()) throw JsonError("A secret is no text.");
            }
        }
        return services;
    }

    FileSystem& files_;
    Path path_;
    std::mutex mutex_;
};

}  // namespace

std::unique_ptr<KeyStore> makeFileKeyStore(FileSystem& files, const Path& path) {
    return std::make_unique<FileKeyStore>(files, path);
}

}  // namespace nookery
