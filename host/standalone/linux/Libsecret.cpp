#include "host/standalone/detail/Keyring.h"

#include <libsecret/secret.h>

#include <memory>

namespace standalone::detail {
namespace {

template <auto release>
struct Release {
    template <class T>
    void operator()(T* resource) const {
        release(resource);
    }
};

template <class T>
using Object = std::unique_ptr<T, Release<g_object_unref>>;
using Attributes = std::unique_ptr<GHashTable, Release<g_hash_table_unref>>;
using Error = std::unique_ptr<GError, Release<g_error_free>>;
using Value = std::unique_ptr<SecretValue, Release<secret_value_unref>>;

struct ReleaseSource {
    void operator()(GSource* source) const {
        g_source_destroy(source);
        g_source_unref(source);
    }
};
struct ReleaseItems {
    void operator()(GList* items) const { g_list_free_full(items, g_object_unref); }
};
using Source = std::unique_ptr<GSource, ReleaseSource>;
using Items = std::unique_ptr<GList, ReleaseItems>;

SecretItem* itemOf(const GList* element) {
    return static_cast<SecretItem*>(element->data);
}

/// Entries are found by their attributes alone: if a keyring has not been unlocked since the start
/// of the session, a widespread service does not know the schemas.
const SecretSchema& schema() {
    static const SecretSchema schema = [] {
        SecretSchema made{};
        made.name = "oidcauth.Token";
        made.flags = SECRET_SCHEMA_DONT_MATCH_NAME;
        made.attributes[0] = {"application", SECRET_SCHEMA_ATTRIBUTE_STRING};
        made.attributes[1] = {"provider", SECRET_SCHEMA_ATTRIBUTE_STRING};
        made.attributes[2] = {"client", SECRET_SCHEMA_ATTRIBUTE_STRING};
        return made;
    }();
    return schema;
}

/// Waits for calls of libsecret on its own main context, so that neither another thread nor a loop
/// of the host application has to run. Cancels the call when the time is over. All of this happens
/// on the waiting thread, which also notices if the service goes away.
class Waiting {
public:
    Waiting(const KeyringEntry& entry, std::chrono::milliseconds limit)
        : m_entry(entry),
          m_context(g_main_context_new()),
          m_timer(g_timeout_source_new(static_cast<guint>(limit.count()))),
          m_cancellable(g_cancellable_new()) {
        g_main_context_push_thread_default(m_context.get());
        g_source_set_callback(m_timer.get(), &onTimer, this, nullptr);
        g_source_attach(m_timer.get(), m_context.get());
    }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
    ~Waiting() {
        m_result.reset();  // the last reference to the service; releasing it queues some clean-up
        while (g_main_context_iteration(m_context.get(), FALSE) != FALSE) {
        }
        g_main_context_pop_thread_default(m_context.get());
    }

    /// Starts a call and returns the result of its end function.
    template <class Begin, class End>
    auto await(const Begin& begin, const End& end) {
        m_result.reset();
        begin(m_cancellable.get(), &onResult, this);
        while (!m_result && !m_givenUp) {
            g_main_context_iteration(m_context.get(), TRUE);
        }
        if (!m_result) {
            refuseLate();
        }
        GError* raised = nullptr;
        const auto value = end(m_result.get(), &raised);
        if (raised != nullptr) {
            refuseError(Error(raised));
        }
        return value;
    }

    [[noreturn]] void refuseLocked() const {
        refuse(m_entry, "is locked; unlock the keyring and try again");
    }

private:
    static void onResult(GObject*, GAsyncResult* result, gpointer self) {
        static_cast<Waiting*>(self)->m_result.reset(
            static_cast<GAsyncResult*>(g_object_ref(result)));
    }

    static gboolean onTimer(gpointer self) {
        auto& waiting = *static_cast<Waiting*>(self);
        if (g_cancellable_is_cancelled(waiting.m_cancellable.get()) == FALSE) {
            g_cancellable_cancel(waiting.m_cancellable.get());
        } else {
            waiting.m_givenUp = true;
        }
        return G_SOURCE_CONTINUE;
    }

    [[noreturn]] void refuseError(const Error& error) const {
        if (g_error_matches(error.get(), SECRET_ERROR, SECRET_ERROR_IS_LOCKED) != FALSE) {
            refuseLocked();
        }
        if (g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED) != FALSE) {
            refuseLate();
        }
        refuse(m_entry, std::string("the keyring cannot be used: ") + error->message +
                            "; without a desktop, keep the token in a file");
    }

    [[noreturn]] void refuseLate() const {
        refuse(m_entry, "the keyring did not answer in time; unlock it and try again");
    }

    const KeyringEntry& m_entry;
    std::unique_ptr<GMainContext, Release<g_main_context_unref>> m_context;
    Source m_timer;
    Object<GCancellable> m_cancellable;
    Object<GAsyncResult> m_result;
    bool m_givenUp = false;
};

/// One exchange with the secret service: nothing is remembered from an earlier one.
class Exchange {
public:
    Exchange(const KeyringEntry& entry, std::chrono::milliseconds limit)
        : m_entry(entry), m_waiting(entry, limit) {
        for (const auto* const text : {&entry.provider, &entry.client, &entry.label}) {
            if (g_utf8_validate(text->data(), static_cast<gssize>(text->size()), nullptr) ==
                FALSE) {
                refuse(entry, "provider, client and label must be UTF-8");
            }
        }
        m_attributes.reset(secret_attributes_build(&schema(), "application", "oidcauth", "provider",
                                                   entry.provider.c_str(), "client",
                                                   entry.client.c_str(), nullptr));
        m_bus.reset(m_waiting.await([](auto... call) { g_bus_get(G_BUS_TYPE_SESSION, call...); },
                                    &g_bus_get_finish));
        // Without this, GLib ends the program when the bus goes away.
        g_dbus_connection_set_exit_on_close(m_bus.get(), FALSE);
        m_service.reset(m_waiting.await(
            [](auto... call) {
                secret_service_open(secret_service_get_type(), nullptr, SECRET_SERVICE_NONE,
                                    call...);
            },
            &secret_service_open_finish));
    }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;
    ~Exchange() = default;

    /// The items of the entry, unlocked if the user agrees.
    Items search(int flags) {
        Items items(m_waiting.await(
            [&](auto... call) {
                secret_service_search(m_service.get(), &schema(), m_attributes.get(),
                                      static_cast<SecretSearchFlags>(flags | SECRET_SEARCH_UNLOCK),
                                      call...);
            },
            [&](auto... outcome) {
                return secret_service_search_finish(m_service.get(), outcome...);
            }));
        for (const GList* each = items.get(); each != nullptr; each = each->next) {
            if (secret_item_get_locked(itemOf(each)) != FALSE) {
                m_waiting.refuseLocked();
            }
        }
        return items;
    }

    void store(const std::string& text) {
        const Value value(
            secret_value_new(text.data(), static_cast<gssize>(text.size()), "text/plain"));
        m_waiting.await(
            [&](auto... call) {
                secret_service_store(m_service.get(), &schema(), m_attributes.get(),
                                     SECRET_COLLECTION_DEFAULT, m_entry.label.c_str(), value.get(),
                                     call...);
            },
            [&](auto... outcome) {
                return secret_service_store_finish(m_service.get(), outcome...);
            });
    }

    void remove(SecretItem* item) {
        m_waiting.await(
            [&](auto... call) { secret_item_delete(item, call...); },
            [&](auto... outcome) { return secret_item_delete_finish(item, outcome...); });
    }

private:
    const KeyringEntry& m_entry;
    Waiting m_waiting;
    Attributes m_attributes;
    Object<GDBusConnection> m_bus;
    Object<SecretService> m_service;  // finds the connection to the bus by itself
};

class Libsecret final : public IKeyring {
public:
    std::optional<std::string> read(const KeyringEntry& entry,
                                    std::chrono::milliseconds limit) const override {
        Exchange exchange(entry, limit);
        const auto items = exchange.search(SECRET_SEARCH_LOAD_SECRETS);
        if (!items) {
            return std::nullopt;
        }
        const Value value(secret_item_get_secret(itemOf(items.get())));
        if (!value) {
            refuse(entry, "cannot be read");
        }
        gsize length = 0;
        const char* const text = secret_value_get(value.get(), &length);
        return std::string(text, length);
    }

    void write(const KeyringEntry& entry, const std::string& text,
               std::chrono::milliseconds limit) const override {
        Exchange(entry, limit).store(text);
    }

    void clear(const KeyringEntry& entry, std::chrono::milliseconds limit) const override {
        Exchange exchange(entry, limit);
        const auto items = exchange.search(SECRET_SEARCH_ALL);
        for (const GList* each = items.get(); each != nullptr; each = each->next) {
            exchange.remove(itemOf(each));
        }
    }
};

}  // namespace
}  // namespace standalone::detail

const standalone::detail::IKeyring* oidcauthKeyring() {
    static const standalone::detail::Libsecret libsecret;
    return &libsecret;
}
