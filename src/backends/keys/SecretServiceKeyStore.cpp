#include "backends/keys/SecretServiceKeyStore.h"

#include <fmt/format.h>
#include <gio/gio.h>

#include <array>
#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <thread>
#include <unordered_set>

namespace nookery {
namespace {

constexpr const char* busName = "org.freedesktop.secrets";
constexpr const char* servicePath = "/org/freedesktop/secrets";
constexpr const char* serviceInterface = "org.freedesktop.Secret.Service";
constexpr const char* collectionInterface = "org.freedesktop.Secret.Collection";
constexpr const char* itemInterface = "org.freedesktop.Secret.Item";
constexpr const char* itemLabel = "Nookery";
/// Stands for "none" wherever the service answers with a path.
constexpr std::string_view noPath = "/";

struct Release {
    void operator()(gpointer object) const { g_object_unref(object); }
    void operator()(GVariant* value) const { g_variant_unref(value); }
    void operator()(GError* error) const { g_error_free(error); }
    void operator()(gchar* text) const { g_free(text); }
};
template <typename T>
using Held = std::unique_ptr<T, Release>;
using Value = Held<GVariant>;

/// Objects on the bus.
using Paths = std::vector<std::string>;
using Attributes = std::vector<std::pair<const char*, std::string>>;

/// Cancels a waiting call once its time is up.
class Deadline {
  public:
    explicit Deadline(std::chrono::milliseconds limit)
        : timer_([this, limit](const std::stop_token& stop) {
              std::unique_lock lock(mutex_);
              passed_.wait_for(lock, stop, limit, [] { return false; });
              if (!stop.stop_requested()) g_cancellable_cancel(cancellable_.get());
          }) {}

    GCancellable* cancellable() const { return cancellable_.get(); }

  private:
    Held<GCancellable> cancellable_{g_cancellable_new()};
    std::mutex mutex_;
    std::condition_variable_any passed_;
    std::jthread timer_;
};

Value child(const Value& tuple, gsize index) {
    return Value(g_variant_get_child_value(tuple.get(), index));
}

std::string pathIn(const Value& tuple, gsize index) {
    return g_variant_get_string(child(tuple, index).get(), nullptr);
}

Paths pathsOf(const Value& array) {
    Paths paths;
    for (gsize i = 0; i < g_variant_n_children(array.get()); ++i) {
        paths.push_back(pathIn(array, i));
    }
    return paths;
}

GVariant* dictionaryOf(const Attributes& attributes) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a{ss}"));
    for (const auto& [name, value] : attributes) {
        g_variant_builder_add(&builder, "{ss}", name, value.c_str());
    }
    return g_variant_builder_end(&builder);
}

GVariant* bytesOf(std::string_view bytes) {
    return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1);
}

struct Found {
    Paths unlocked;
    Paths locked;
};

/// A private connection to the message bus, for one of the key store's calls. The library's shared
/// connection is never made anew after it is lost, and ends the program when the person logs out.
class Conversation {
  public:
    explicit Conversation(std::chrono::milliseconds limit) : deadline_(limit) {
        const Held<gchar> address(ask([](GCancellable* cancellable, GError** error) {
            return g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, cancellable, error);
        }));
        bus_.reset(ask([&](GCancellable* cancellable, GError** error) {
            constexpr auto flags =
                static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                  G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
            return g_dbus_connection_new_for_address_sync(address.get(), flags, nullptr,
                                                          cancellable, error);
        }));
    }

    Found find(const Attributes& attributes) const {
        const Value answer = call(servicePath, serviceInterface, "SearchItems",
                                  g_variant_new("(@a{ss})", dictionaryOf(attributes)), "(aoao)");
        return {pathsOf(child(answer, 0)), pathsOf(child(answer, 1))};
    }

    /// A locked keyring may find nothing and report no error: only its "Locked" property tells.
    void demandNothingIsLocked(const Found& found) const {
        for (const auto& keyring :
             pathsOf(property(servicePath, serviceInterface, "Collections"))) {
            demandUnlocked(keyring);
        }
        if (!found.locked.empty())
            throw KeyStoreUnavailable("The keyring's entry is locked; unlock it and try again.");
    }

    std::string secretOf(const std::string& item) const {
        const Value answer = call(item, itemInterface, "GetSecret",
                                  g_variant_new("(o)", openSession().c_str()), "((oayays))");
        const Value bytes = child(child(answer, 0), 2);
        gsize size = 0;
        const auto* first =
            static_cast<const char*>(g_variant_get_fixed_array(bytes.get(), &size, 1));
        return {first, size};
    }

    std::string accountOf(const std::string& item) const {
        const Value attributes = property(item, itemInterface, "Attributes");
        const gchar* account = nullptr;
        g_variant_lookup(attributes.get(), "account", "&s", &account);
        return account == nullptr ? "" : account;
    }

    void remove(const std::string& item) const {
        demandNoPrompt(pathIn(call(item, itemInterface, "Delete", nullptr, "(o)"), 0));
    }

    void store(const Attributes& attributes, std::string_view secret) const {
        const std::string keyring = pathIn(call(servicePath, serviceInterface, "ReadAlias",
                                                g_variant_new("(s)", "default"), "(o)"),
                                           0);
        if (keyring == noPath) {
            throw KeyStoreUnavailable("This session has no default keyring; create one.");
        }
        demandUnlocked(keyring);
        GVariantBuilder properties;
        g_variant_builder_init(&properties, G_VARIANT_TYPE_VARDICT);
        g_variant_builder_add(&properties, "{sv}", "org.freedesktop.Secret.Item.Label",
                              g_variant_new_string(itemLabel));
        g_variant_builder_add(&properties, "{sv}", "org.freedesktop.Secret.Item.Attributes",
                              dictionaryOf(attributes));
        const bool replaces = true;
        const Value answer =
            call(keyring, collectionInterface, "CreateItem",
                 g_variant_new("(a{sv}(o@ay@ays)b)", &properties, openSession().c_str(),
                               bytesOf({}), bytesOf(secret), "application/octet-stream", replaces),
                 "(oo)");
        demandNoPrompt(pathIn(answer, 1));
    }

  private:
    /// The bus carries the secrets unencrypted: it is the person's own, and a program that can
    /// listen to it can ask the keyring as well.
    std::string openSession() const {
        return pathIn(call(servicePath, serviceInterface, "OpenSession",
                           g_variant_new("(sv)", "plain", g_variant_new_string("")), "(vo)"),
                      1);
    }

    void demandUnlocked(const std::string& keyring) const {
        if (!g_variant_get_boolean(property(keyring, collectionInterface, "Locked").get())) return;
        const Value label = property(keyring, collectionInterface, "Label");
        throw KeyStoreUnavailable(
            fmt::format("The keyring \"{}\" is locked; unlock it and try again.",
                        g_variant_get_string(label.get(), nullptr)));
    }

    static void demandNoPrompt(const std::string& prompt) {
        if (prompt != noPath) {
            throw KeyStoreUnavailable("The keyring is locked; unlock it and try again.");
        }
    }

    /// Throws too when the answer is of another type than asked for.
    Value property(const std::string& path, const char* interface, const char* name) const {
        const Value answer = call(path, "org.freedesktop.DBus.Properties", "Get",
                                  g_variant_new("(ss)", interface, name), "(v)");
        Value value(g_variant_get_variant(child(answer, 0).get()));
        const std::string_view type = g_variant_get_type_string(value.get());
        for (const auto& [known, expected] : propertyTypes) {
            if (known == name && type == expected) return value;
        }
        throw KeyStoreUnavailable("The desktop's keyring gives an answer of an unexpected type.");
    }

    /// `arguments` is taken over.
    Value call(const std::string& path, const char* interface, const char* method,
               GVariant* arguments, const char* answerType) const {
        return Value(ask([&](GCancellable* cancellable, GError** error) {
            return g_dbus_connection_call_sync(bus_.get(), busName, path.c_str(), interface, method,
                                               arguments, G_VARIANT_TYPE(answerType),
                                               G_DBUS_CALL_FLAGS_NONE, -1, cancellable, error);
        }));
    }

    /// Makes one call that may wait, and turns its failure into ours.
    template <typename Call>
    auto ask(const Call& waitingCall) const -> decltype(waitingCall(nullptr, nullptr)) {
        GError* failure = nullptr;
        const auto answer = waitingCall(deadline_.cancellable(), &failure);
        if (failure == nullptr) return answer;
        const Held<GError> error(failure);
        throw KeyStoreUnavailable(
            g_error_matches(failure, G_IO_ERROR, G_IO_ERROR_CANCELLED)
                ? std::string("The desktop's keyring does not answer.")
                : fmt::format("The desktop's keyring is unavailable: {}", failure->message));
    }

    static constexpr std::array<std::pair<std::string_view, std::string_view>, 4> propertyTypes{
        {{"Collections", "ao"}, {"Locked", "b"}, {"Label", "s"}, {"Attributes", "a{ss}"}}};

    Deadline deadline_;
    Held<GDBusConnection> bus_;
};

class SecretServiceKeyStore final : public KeyStore {
  public:
    explicit SecretServiceKeyStore(std::chrono::milliseconds limit) : limit_(limit) {}

    std::string place() const override { return "the desktop's keyring"; }

    std::optional<std::string> read(std::string_view service, std::string_view account) override {
        const Conversation conversation(limit_);
        const Found found = conversation.find(attributesOf(service, account));
        if (!found.unlocked.empty()) return conversation.secretOf(found.unlocked.front());
        conversation.demandNothingIsLocked(found);
        return std::nullopt;
    }

    void write(std::string_view service, std::string_view account,
               std::string_view secret) override {
        Conversation(limit_).store(attributesOf(service, account), secret);
    }

    void remove(std::string_view service, const std::vector<std::string>& accounts) override {
        const Conversation conversation(limit_);
        const std::unordered_set<std::string> unwanted(accounts.begin(), accounts.end());
        const Found found = conversation.find({{"service", std::string(service)}});
        for (const std::string& item : found.unlocked) {
            if (unwanted.contains(conversation.accountOf(item))) conversation.remove(item);
        }
        conversation.demandNothingIsLocked(found);
    }

  private:
    static Attributes attributesOf(std::string_view service, std::string_view account) {
        return {{"service", std::string(service)}, {"account", std::string(account)}};
    }

    std::chrono::milliseconds limit_;
};

}  // namespace

std::unique_ptr<KeyStore> makeSecretServiceKeyStore(std::chrono::milliseconds limit) {
    return std::make_unique<SecretServiceKeyStore>(limit);
}

}  // namespace nookery
