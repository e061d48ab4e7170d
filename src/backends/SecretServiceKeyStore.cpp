#include "backends/SecretServiceKeyStore.h"

#include <fmt/format.h>
#include <libsecret/secret.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <thread>

namespace nookery {
namespace {

constexpr const char* itemLabel = "Nookery";

/// The attributes by which items are found. Items that other programs made under another schema's
/// name are found too.
const SecretSchema schema = {
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

struct Release {
    void operator()(gpointer object) const { g_object_unref(object); }
    void operator()(GHashTable* table) const { g_hash_table_unref(table); }
    void operator()(SecretValue* value) const { secret_value_unref(value); }
    void operator()(GError* error) const { g_error_free(error); }
};
template <typename T>
using Held = std::unique_ptr<T, Release>;

/// Takes a list whose elements belong to the caller.
template <typename T>
std::vector<Held<T>> held(GList* list) {
    std::vector<Held<T>> result;
    for (const GList* entry = list; entry != nullptr; entry = entry->next) {
        result.emplace_back(static_cast<T*>(entry->data));
    }
    g_list_free(list);
    return result;
}

/// Cancels what waits for an answer once its time is up.
class Deadline {
  public:
    explicit Deadline(std::chrono::milliseconds limit)
        : timer_([this, limit](const std::stop_token& stop) {
              std::unique_lock lock(mutex_);
              const bool ended = passed_.wait_for(lock, stop, limit, [] { return false; });
              if (!ended && !stop.stop_requested()) g_cancellable_cancel(cancellable_.get());
          }) {}

    GCancellable* cancellable() const { return cancellable_.get(); }

  private:
    Held<GCancellable> cancellable_{g_cancellable_new()};
    std::mutex mutex_;
    std::condition_variable_any passed_;
    std::jthread timer_;
};

/// One connection, for one of the key store's calls.
class Conversation {
  public:
    explicit Conversation(std::chrono::milliseconds limit) : deadline_(limit) {
        const Held<GDBusConnection> bus(ask([](GCancellable* cancellable, GError** error) {
            return g_bus_get_sync(G_BUS_TYPE_SESSION, cancellable, error);
        }));
        // Else the library ends the whole program when the person logs out.
        g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
        service_.reset(ask([](GCancellable* cancellable, GError** error) {
            return secret_service_open_sync(SECRET_TYPE_SERVICE, nullptr,
                                            SECRET_SERVICE_OPEN_SESSION, cancellable, error);
        }));
    }

    std::vector<Held<SecretItem>> itemsWith(GHashTable* attributes) {
        return held<SecretItem>(ask([&](GCancellable* cancellable, GError** error) {
            return secret_service_search_sync(service_.get(), &schema, attributes,
                                              SECRET_SEARCH_ALL, cancellable, error);
        }));
    }

    /// A locked keyring finds nothing and reports no error: only its own state tells.
    void demandNothingIsLocked() {
        ask([&](GCancellable* cancellable, GError** error) {
            return secret_service_load_collections_sync(service_.get(), cancellable, error);
        });
        for (const auto& collection :
             held<SecretCollection>(secret_service_get_collections(service_.get()))) {
            demandUnlocked(collection.get());
        }
    }

    std::string secretOf(SecretItem* item) {
        if (secret_item_get_locked(item)) throw locked("The keyring");
        ask([&](GCancellable* cancellable, GError** error) {
            return secret_item_load_secret_sync(item, cancellable, error);
        });
        const Held<SecretValue> value(secret_item_get_secret(item));
        if (!value) throw locked("The keyring");
        gsize length = 0;
        const gchar* bytes = secret_value_get(value.get(), &length);
        return {bytes, length};
    }

    void remove(SecretItem* item) {
        if (secret_item_get_locked(item)) throw locked("The keyring");
        ask([&](GCancellable* cancellable, GError** error) {
            return secret_item_delete_sync(item, cancellable, error);
        });
    }

    void store(GHashTable* attributes, std::string_view secret) {
        const Held<SecretCollection> keyring(ask([&](GCancellable* cancellable, GError** error) {
            return secret_collection_for_alias_sync(service_.get(), SECRET_COLLECTION_DEFAULT,
                                                    SECRET_COLLECTION_NONE, cancellable, error);
        }));
        if (!keyring) throw KeyStoreUnavailable("This session has no default keyring; create one.");
        demandUnlocked(keyring.get());
        const Held<SecretValue> value(secret_value_new(
            secret.data(), static_cast<gssize>(secret.size()), "application/octet-stream"));
        const Held<SecretItem> item(ask([&](GCancellable* cancellable, GError** error) {
            return secret_item_create_sync(keyring.get(), &schema, attributes, itemLabel,
                                           value.get(), SECRET_ITEM_CREATE_REPLACE, cancellable,
                                           error);
        }));
    }

  private:
    static KeyStoreUnavailable locked(std::string_view what) {
        return KeyStoreUnavailable(fmt::format("{} is locked; unlock it and try again.", what));
    }

    static void demandUnlocked(SecretCollection* keyring) {
        if (!secret_collection_get_locked(keyring)) return;
        const std::unique_ptr<gchar, decltype(&g_free)> label(secret_collection_get_label(keyring),
                                                              &g_free);
        throw locked(label ? fmt::format("The keyring \"{}\"", label.get()) : "The keyring");
    }

    /// Makes one call that may wait, and turns its failure into ours.
    template <typename Call>
    auto ask(const Call& call) const -> decltype(call(nullptr, nullptr)) {
        GError* failure = nullptr;
        const auto answer = call(deadline_.cancellable(), &failure);
        if (failure == nullptr) return answer;
        const Held<GError> error(failure);
        throw KeyStoreUnavailable(
            g_error_matches(failure, G_IO_ERROR, G_IO_ERROR_CANCELLED)
                ? std::string("The desktop's keyring does not answer.")
                : fmt::format("The desktop's keyring is unavailable: {}", failure->message));
    }

    Deadline deadline_;
    Held<SecretService> service_;
};

Held<GHashTable> attributesOf(std::string_view service) {
    return Held<GHashTable>(
        secret_attributes_build(&schema, "service", std::string(service).c_str(), nullptr));
}

Held<GHashTable> attributesOf(std::string_view service, std::string_view account) {
    return Held<GHashTable>(secret_attributes_build(&schema, "service",
                                                    std::string(service).c_str(), "account",
                                                    std::string(account).c_str(), nullptr));
}

std::string accountOf(SecretItem* item) {
    const Held<GHashTable> attributes(secret_item_get_attributes(item));
    const auto* account =
        static_cast<const char*>(g_hash_table_lookup(attributes.get(), "account"));
    return account == nullptr ? "" : account;
}

class SecretServiceKeyStore final : public KeyStore {
  public:
    explicit SecretServiceKeyStore(std::chrono::milliseconds limit) : limit_(limit) {}

    std::string place() const override { return "the desktop's keyring"; }

    std::optional<std::string> read(std::string_view service, std::string_view account) override {
        Conversation conversation(limit_);
        const auto items = conversation.itemsWith(attributesOf(service, account).get());
        if (!items.empty()) return conversation.secretOf(items.front().get());
        conversation.demandNothingIsLocked();
        return std::nullopt;
    }

    void write(std::string_view service, std::string_view account,
               std::string_view secret) override {
        Conversation(limit_).store(attributesOf(service, account).get(), secret);
    }

    void remove(std::string_view service, const std::vector<std::string>& accounts) override {
        Conversation conversation(limit_);
        for (const auto& item : conversation.itemsWith(attributesOf(service).get())) {
            if (std::find(accounts.begin(), accounts.end(), accountOf(item.get())) !=
                accounts.end()) {
                conversation.remove(item.get());
            }
        }
        conversation.demandNothingIsLocked();
    }

  private:
    std::chrono::milliseconds limit_;
};

}  // namespace

std::unique_ptr<KeyStore> makeSecretServiceKeyStore(std::chrono::milliseconds limit) {
    return std::make_unique<SecretServiceKeyStore>(limit);
}

}  // namespace nookery
