// The keychain in the session's Secret Service (the freedesktop.org Secret Service API, 0.2), through
// libsecret.
#include <libsecret/secret.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <thread>
#include <tuple>

#include "Platform/Foundation/DDLog.h"
#include "Platform/Security/internal/KeychainService.h"

namespace qz::internal {

namespace {

/// How long an operation waits for the service, which may itself be waiting for its user.
constexpr std::chrono::seconds patience{5};

struct Unref {
    void operator()(gpointer object) const noexcept { ::g_object_unref(object); }
};
template <class T>
using GRef = std::unique_ptr<T, Unref>;

/// A list that owns its objects.
struct UnrefList {
    void operator()(GList* list) const noexcept { ::g_list_free_full(list, ::g_object_unref); }
};
using GObjectList = std::unique_ptr<GList, UnrefList>;

using Attributes = std::unique_ptr<GHashTable, decltype(&::g_hash_table_unref)>;
using Value = std::unique_ptr<SecretValue, decltype(&::secret_value_unref)>;

struct ServiceFailure {
    OSStatus status;
    std::string reason;
};

/// Receives the error of one call, and throws it.
class Outcome {
public:
    Outcome() = default;
    Outcome(const Outcome&) = delete;
    Outcome& operator=(const Outcome&) = delete;
    ~Outcome() { ::g_clear_error(&error_); }

    operator GError**() noexcept { return &error_; }
    void check() const {
        if (error_) {
            const bool isLocked = ::g_error_matches(error_, SECRET_ERROR, SECRET_ERROR_IS_LOCKED) != 0;
            throw ServiceFailure{isLocked ? errSecInteractionNotAllowed : errSecNotAvailable,
                                 error_->message};
        }
    }

private:
    GError* error_ = nullptr;
};

/// Cancels what is under way when its time is over.
class Deadline {
public:
    Deadline() : cancellable_(::g_cancellable_new()), watch_([this] { wait(); }) {}
    Deadline(const Deadline&) = delete;
    Deadline& operator=(const Deadline&) = delete;
    ~Deadline() {
        {
            const std::lock_guard lock(mutex_);
            isOver_ = true;
        }
        over_.notify_one();
        watch_.join();
    }

    operator GCancellable*() const noexcept { return cancellable_.get(); }

private:
    void wait() {
        std::unique_lock lock(mutex_);
        if (!over_.wait_for(lock, patience, [this] { return isOver_; })) {
            ::g_cancellable_cancel(cancellable_.get());
        }
    }

    const GRef<GCancellable> cancellable_;
    std::mutex mutex_;
    std::condition_variable over_;
    bool isOver_ = false;
    std::thread watch_;
};

/// Takes the signals of the service's objects, which would otherwise pile up in the program's own main
/// context, where perhaps nobody runs it.
class OwnContext {
public:
    OwnContext() : context_(::g_main_context_new()) { ::g_main_context_push_thread_default(context_); }
    OwnContext(const OwnContext&) = delete;
    OwnContext& operator=(const OwnContext&) = delete;
    ~OwnContext() {
        // What the objects subscribed to is freed by a callback here, and would leak if it never came.
        while (::g_main_context_iteration(context_, FALSE)) {
        }
        ::g_main_context_pop_thread_default(context_);
        ::g_main_context_unref(context_);
    }

private:
    GMainContext* const context_;
};

const SecretSchema& schema() {
    static const auto value = [] {
        SecretSchema made{};
        made.name = "qz.Keychain.GenericPassword";
        made.flags = SECRET_SCHEMA_NONE;
        made.attributes[0] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
        made.attributes[1] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
        made.attributes[2] = {"accessible", SECRET_SCHEMA_ATTRIBUTE_STRING};
        made.attributes[3] = {"synchronizable", SECRET_SCHEMA_ATTRIBUTE_STRING};
        return made;
    }();
    return value;
}

Attributes noAttributes() {
    return {::g_hash_table_new_full(::g_str_hash, ::g_str_equal, ::g_free, ::g_free), ::g_hash_table_unref};
}

void set(const Attributes& attributes, const char* name, const std::string& value) {
    ::g_hash_table_insert(attributes.get(), ::g_strdup(name), ::g_strdup(value.c_str()));
}

std::string get(const Attributes& attributes, const char* name) {
    const auto* value = static_cast<const char*>(::g_hash_table_lookup(attributes.get(), name));
    return value ? value : "";
}

Attributes attributesOf(const KeychainItem& item) {
    auto attributes = noAttributes();
    set(attributes, "account", item.account);
    set(attributes, "service", item.service);
    set(attributes, "accessible", item.accessible);
    set(attributes, "synchronizable", item.isSynchronizable ? "1" : "0");
    return attributes;
}

Value secretOf(const KeychainItem& item) {
    const auto bytes = item.value.text();
    return {::secret_value_new(bytes.data(), static_cast<gssize>(bytes.size()), "application/octet-stream"),
            ::secret_value_unref};
}

/// The service's objects for the time of one operation.
class Session {
public:
    Session() {
        Outcome outcome;
        service_.reset(::secret_service_open_sync(SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_OPEN_SESSION,
                                                  deadline_, outcome));
        outcome.check();
        // GLib would end the program when the bus goes away.
        const auto* proxy = reinterpret_cast<GDBusProxy*>(service_.get());
        ::g_dbus_connection_set_exit_on_close(::g_dbus_proxy_get_connection(const_cast<GDBusProxy*>(proxy)),
                                              FALSE);
    }

    /// Null where there is none.
    [[nodiscard]] GRef<SecretCollection> defaultCollection() {
        Outcome outcome;
        GRef<SecretCollection> collection(::secret_collection_for_alias_sync(
            service_.get(), SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, deadline_, outcome));
        outcome.check();
        return collection;
    }

    struct Found {
        GRef<SecretItem> handle;
        KeychainItem item;
    };
    /// Throws when all that match are locked. Those of them that are not can be used.
    [[nodiscard]] std::vector<Found> search(const KeychainQuery& query) {
        const auto wanted = noAttributes();
        if (query.account) {
            set(wanted, "account", *query.account);
        }
        if (query.service) {
            set(wanted, "service", *query.service);
        }
        Outcome outcome;
        const GObjectList handles(::secret_service_search_sync(service_.get(), &schema(), wanted.get(),
                                                               SECRET_SEARCH_ALL, deadline_, outcome));
        outcome.check();
        std::vector<Found> items;
        for (const auto* entry = handles.get(); entry; entry = entry->next) {
            if (auto* handle = static_cast<SecretItem*>(entry->data); !::secret_item_get_locked(handle)) {
                items.push_back(read(handle));
            }
        }
        if (items.empty() && handles) {
            throw ServiceFailure{errSecInteractionNotAllowed, "the items are locked"};
        }
        std::sort(items.begin(), items.end(), [](const Found& left, const Found& right) {
            return std::tie(left.item.service, left.item.account) <
                   std::tie(right.item.service, right.item.account);
        });
        return items;
    }

    void create(const KeychainItem& item) {
        const auto collection = defaultCollection();
        if (!collection) {
            throw ServiceFailure{errSecNotAvailable, "there is no default collection any more"};
        }
        if (::secret_collection_get_locked(collection.get())) {
            throw ServiceFailure{errSecInteractionNotAllowed, "the default collection is locked"};
        }
        Outcome outcome;
        // Replaces: of two processes that add the same item at once, neither makes a second one.
        const GRef<SecretItem> handle(
            ::secret_item_create_sync(collection.get(), &schema(), attributesOf(item).get(),
                                      (item.account + " (" + item.service + ")").c_str(),
                                      secretOf(item).get(), SECRET_ITEM_CREATE_REPLACE, deadline_, outcome));
        outcome.check();
    }

    void rewrite(const Found& found) {
        Outcome secret;
        ::secret_item_set_secret_sync(found.handle.get(), secretOf(found.item).get(), deadline_, secret);
        secret.check();
        Outcome attributes;
        ::secret_item_set_attributes_sync(found.handle.get(), &schema(), attributesOf(found.item).get(),
                                          deadline_, attributes);
        attributes.check();
    }

    void erase(const Found& found) {
        Outcome outcome;
        ::secret_item_delete_sync(found.handle.get(), deadline_, outcome);
        outcome.check();
    }

private:
    Found read(SecretItem* handle) {
        Outcome outcome;
        ::secret_item_load_secret_sync(handle, deadline_, outcome);
        outcome.check();
        const Attributes attributes(::secret_item_get_attributes(handle), ::g_hash_table_unref);
        Found found{GRef<SecretItem>(static_cast<SecretItem*>(g_object_ref(handle))),
                    {get(attributes, "account"), get(attributes, "service"), get(attributes, "accessible"),
                     get(attributes, "synchronizable") == "1", NSData()}};
        if (auto* secret = ::secret_item_get_secret(handle)) {
            const Value owner(secret, ::secret_value_unref);
            gsize length = 0;
            const auto* bytes = ::secret_value_get(secret, &length);
            found.item.value = NSData::dataWithText({bytes, length});
        }
        return found;
    }

    const OwnContext context_;
    const Deadline deadline_;
    GRef<SecretService> service_;
};

void report(const ServiceFailure& failure) {
    DDLog::sharedInstance()->log(true, LogLevel::All, LogFlag::Warning, 0, __FILE__, __func__, __LINE__,
                                 nullptr, "The Secret Service refuses: %@", failure.reason);
}

class SecretServiceKeychain final : public KeychainService {
public:
    OSStatus find(const KeychainQuery& query, std::vector<KeychainItem>& items) override {
        items.clear();
        return attempt([&](Session& session) {
            for (auto& found : session.search(query)) {
                items.push_back(std::move(found.item));
            }
            return items.empty() ? errSecItemNotFound : errSecSuccess;
        });
    }

    OSStatus add(const KeychainItem& item) override {
        return attempt([&](Session& session) {
            if (!session.search({item.account, item.service}).empty()) {
                return errSecDuplicateItem;
            }
            session.create(item);
            return errSecSuccess;
        });
    }

    OSStatus update(const KeychainQuery& query, const KeychainChange& change) override {
        return attempt([&](Session& session) {
            auto items = session.search(query);
            for (auto& found : items) {
                change.applyTo(found.item);
                session.rewrite(found);
            }
            return items.empty() ? errSecItemNotFound : errSecSuccess;
        });
    }

    OSStatus remove(const KeychainQuery& query) override {
        return attempt([&](Session& session) {
            const auto items = session.search(query);
            for (const auto& found : items) {
                session.erase(found);
            }
            return items.empty() ? errSecItemNotFound : errSecSuccess;
        });
    }

private:
    template <class F>
    static OSStatus attempt(F&& operation) {
        try {
            Session session;
            return operation(session);
        } catch (const ServiceFailure& failure) {
            report(failure);
            return failure.status;
        }
    }
};

/// Whether the session has a bus. GLib would start one of its own otherwise.
bool hasSessionBus() {
    if (const auto* address = std::getenv("DBUS_SESSION_BUS_ADDRESS"); address && *address != '\0') {
        return true;
    }
    const auto* runtime = std::getenv("XDG_RUNTIME_DIR");
    std::error_code error;
    return runtime && *runtime == '/' &&
           std::filesystem::exists(std::filesystem::path(runtime) / "bus", error);
}

}  // namespace

std::unique_ptr<KeychainService> makeSecretServiceKeychain() {
    if (!hasSessionBus()) {
        return nullptr;
    }
    try {
        Session session;
        if (!session.defaultCollection()) {
            return nullptr;
        }
    } catch (const ServiceFailure& failure) {
        DDLog::sharedInstance()->log(true, LogLevel::All, LogFlag::Info, 0, __FILE__, __func__, __LINE__,
                                     nullptr, "The keychain is a file: %@", failure.reason);
        return nullptr;
    }
    return std::make_unique<SecretServiceKeychain>();
}

}  // namespace qz::internal
