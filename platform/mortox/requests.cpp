// The calls of libmortox.h: each is one request, sent and waited for.

#include "mortox/connection.h"
#include "mortox/handle.h"
#include "mortox/response.h"
#include "mortox/wire.h"

#include "export.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>

namespace {

enum class Outcome {
    done,
    refused, // the request breaks a limit, or the store has answered that it cannot
    gone     // no answer
};

struct Visitor {
    void (*item)(const wire::Message &message, const void *visit, void *user);
    const void *visit; // the caller's function pointer, by address
    void *user;
};

// True when the request can be sent at all.
bool may_ask(mortox_t *handle) {
    if (handle == nullptr) {
        return false;
    }
    if (handle->visiting) {
        set_error(handle, "this handle is in use: a visit must not make requests on it");
        return false;
    }
    if (!handle->ready) {
        set_error(handle, handle->hooks != nullptr
                              ? "not connected to the settings store: is mortoxd running?"
                              : "the connection to the settings store is lost: open a new handle");
        return false;
    }
    return true;
}

bool within_limits(mortox_t *handle, const wire::Message &request) {
    const bool has_section = request.type != wire::Type::list || request.section != nullptr;
    const bool has_key = request.type != wire::Type::list;
    char *error = handle->error;
    const size_t error_bytes = sizeof handle->error;
    if (request.type == wire::Type::namespaces) {
        return true;
    }
    return wire::check_name("the namespace", request.name_space, error, error_bytes) &&
           (!has_section || wire::check_name("the section", request.section, error, error_bytes)) &&
           (!has_key || wire::check_name("the key", request.key, error, error_bytes)) &&
           (request.type != wire::Type::set || wire::check_value(request.value, error, error_bytes));
}

// Sends the request, waiting for room: 0 or -errno.
int send_until(mortox_t *handle, const wire::Message &request, int64_t deadline_ms, uint32_t *number) {
    int result = mortox_internal_send(handle, &request, number);
    while (result == -EAGAIN && await_writable(handle, deadline_ms) == 0) {
        result = mortox_internal_send(handle, &request, number);
    }
    return result;
}

// Time that the visitor takes is not time that the store takes.
void visit_item(mortox_t *handle, const wire::Message &item, const Visitor &visitor, int64_t *deadline_ms) {
    const int64_t start_ms = mortox_internal_now_ms();
    handle->visiting = true;
    visitor.item(item, visitor.visit, visitor.user);
    handle->visiting = false;
    *deadline_ms += mortox_internal_now_ms() - start_ms;
}

Outcome await_answer(mortox_t *handle, uint32_t number, int64_t deadline_ms, const Visitor *visitor,
                     wire::Message *answer) {
    for (;;) {
        const int result = await_message(handle, deadline_ms, answer);
        if (result != 0) {
            if (result != -ETIMEDOUT) {
                mortox_internal_disconnect(handle);
            }
            return Outcome::gone;
        }
        if (answer->request != number) { // a change, or the answer to a request that was given up
            if (handle->hooks != nullptr) {
                handle->hooks->message(handle->owner, answer);
            }
            if (handle->fd < 0) {
                set_error(handle, "the connection to the settings store was lost during the request");
                return Outcome::gone;
            }
        } else if (answer->type == wire::Type::answer && answer->status == wire::Status::ok) {
            return Outcome::done;
        } else if (answer->type == wire::Type::answer) {
            set_error(handle, "%s", answer->value);
            return Outcome::refused;
        } else if (answer->type == wire::Type::item && visitor != nullptr) {
            visit_item(handle, *answer, *visitor, &deadline_ms);
        }
    }
}

// The one way to ask. The answer's texts are valid until the next call on the handle.
Outcome ask(mortox_t *handle, const wire::Message &request, int32_t timeout_ms, const Visitor *visitor,
            wire::Message *answer) {
    *answer = wire::Message{};
    if (!may_ask(handle)) {
        return Outcome::gone;
    }
    if (!within_limits(handle, request)) {
        return Outcome::refused;
    }
    const int64_t deadline_ms =
        mortox_internal_now_ms() + (timeout_ms < 0 ? mortox_default_timeout_ms : timeout_ms);
    uint32_t number = 0;
    const int result = send_until(handle, request, deadline_ms, &number);
    if (result != 0) {
        if (result != -EAGAIN) { // too busy to take a request is not gone
            mortox_internal_disconnect(handle);
        }
        return Outcome::gone;
    }
    return await_answer(handle, number, deadline_ms, visitor, answer);
}

wire::Message make_request(wire::Type type, const char *name_space, const char *section, const char *key) {
    wire::Message request{};
    request.type = type;
    request.name_space = name_space;
    request.section = section;
    request.key = key;
    return request;
}

// Runs the callback with a copy, so that it may use the handle itself. False when memory is short.
bool respond(const wire::Message &request, const wire::Message &answer, int32_t type,
             mortox_callback_t callback, void *user) {
    wire::Message named = answer;
    named.name_space = request.name_space == nullptr ? "" : request.name_space;
    named.section = request.section == nullptr ? "" : request.section;
    named.key = request.key == nullptr ? "" : request.key;
    if (type == XRESPONSE_ERROR) {
        named.value_type = wire::ValueType::none;
    }
    MortoxResponse *response = mortox_internal_response(type, &named);
    if (response == nullptr) {
        return false;
    }
    callback(&response->head, user);
    free(response);
    return true;
}

bool write_value(mortox_t *handle, const wire::Message &request, mortox_callback_t callback, void *user,
                 int32_t timeout_ms) {
    wire::Message answer;
    const bool stored = ask(handle, request, timeout_ms, nullptr, &answer) == Outcome::done;
    if (callback != nullptr) {
        respond(request, answer, stored ? XRESPONSE_DATA : XRESPONSE_ERROR, callback, user);
    }
    return stored;
}

void visit_setting(const wire::Message &item, const void *visit, void *user) {
    MortoxItemPair pair;
    mortox_item_pair(item, &pair);
    using Visit = void (*)(const NotifyPair *, void *);
    (*static_cast<const Visit *>(visit))(&pair.head, user);
}

void visit_namespace(const wire::Message &item, const void *visit, void *user) {
    using Visit = void (*)(const char *, bool, void *);
    (*static_cast<const Visit *>(visit))(item.name_space, (item.flags & wire::persistent_flag) != 0, user);
}

} // namespace

PLATFORM_API mortox_t *libmortox_config_open(int32_t /*flags*/) {
    mortox_t *handle = mortox_internal_new(nullptr, nullptr);
    if (handle == nullptr) {
        errno = ENOMEM;
        return nullptr;
    }
    const int64_t deadline_ms = mortox_internal_now_ms() + mortox_default_timeout_ms;
    int result = mortox_internal_connect(handle, deadline_ms);
    if (result == 0) {
        result = mortox_internal_greet(handle, deadline_ms);
    }
    if (result != 0) {
        libmortox_close(handle);
        errno = -result;
        return nullptr;
    }
    return handle;
}

PLATFORM_API void libmortox_close(mortox_t *handle) {
    if (handle == nullptr) {
        return;
    }
    if (handle->hooks != nullptr) {
        handle->hooks->close(handle->owner);
        handle->hooks = nullptr;
    }
    if (handle->fd >= 0) {
        mortox_internal_disconnect(handle);
    }
    free(handle);
}

PLATFORM_API bool libmortox_get_value(mortox_t *handle, const char *name_space, const char *section,
                                      const char *key, mortox_callback_t callback, void *user,
                                      int32_t timeout_ms, int32_t /*flags*/) {
    const wire::Message request = make_request(wire::Type::get, name_space, section, key);
    wire::Message answer;
    const Outcome outcome = ask(handle, request, timeout_ms, nullptr, &answer);
    if (outcome == Outcome::gone || callback == nullptr) {
        return outcome == Outcome::done;
    }
    const int32_t type = outcome == Outcome::done ? XRESPONSE_DATA : XRESPONSE_ERROR;
    if (!respond(request, answer, type, callback, user)) {
        set_error(handle, "memory is short");
        return false;
    }
    return true;
}

PLATFORM_API bool libmortox_set_value(mortox_t *handle, const char *name_space, const char *section,
                                      const char *key, int32_t type, const char *value,
                                      mortox_callback_t callback, void *user, int32_t timeout_ms,
                                      int32_t /*flags*/) {
    wire::Message request = make_request(wire::Type::set, name_space, section, key);
    request.value_type = wire::ValueType::text;
    request.value = type == XDATA_TEXT ? value : nullptr;
    return write_value(handle, request, callback, user, timeout_ms);
}

PLATFORM_API bool libmortox_remove_value(mortox_t *handle, const char *name_space, const char *section,
                                         const char *key, int32_t timeout_ms) {
    const wire::Message request = make_request(wire::Type::remove, name_space, section, key);
    return write_value(handle, request, nullptr, nullptr, timeout_ms);
}

PLATFORM_API bool libmortox_register_notification(mortox_t *handle, const char *name_space,
                                                  const char *section, const char *key, int32_t *registration,
                                                  mortox_callback_t callback, void *user, int32_t timeout_ms,
                                                  int32_t /*flags*/) {
    if (handle == nullptr) {
        return false;
    }
    if (handle->hooks == nullptr || callback == nullptr) {
        set_error(handle, callback == nullptr
                              ? "there is no callback to notify"
                              : "this handle delivers no notifications: use libmortoxev_config_open");
        return false;
    }
    wire::Message accepted;
    const wire::Message request = make_request(wire::Type::watch, name_space, section, key);
    if (ask(handle, request, timeout_ms, nullptr, &accepted) != Outcome::done) {
        return false;
    }
    accepted.name_space = name_space;
    accepted.section = section;
    accepted.key = key;
    const int32_t number = handle->hooks->watched(handle->owner, &accepted, callback, user);
    if (number < 0) {
        set_error(handle, "memory is short");
        return false;
    }
    if (registration != nullptr) {
        *registration = number;
    }
    return true;
}

PLATFORM_API bool libmortox_list(mortox_t *handle, const char *name_space, const char *section,
                                 void (*visit)(const NotifyPair *pair, void *user), void *user,
                                 int32_t timeout_ms) {
    const Visitor visitor = {visit_setting, &visit, user};
    wire::Message answer;
    const wire::Message request = make_request(wire::Type::list, name_space, section, nullptr);
    return ask(handle, request, timeout_ms, &visitor, &answer) == Outcome::done;
}

PLATFORM_API bool libmortox_namespaces(mortox_t *handle,
                                       void (*visit)(const char *name_space, bool persistent, void *user),
                                       void *user, int32_t timeout_ms) {
    const Visitor visitor = {visit_namespace, &visit, user};
    wire::Message answer;
    const wire::Message request = make_request(wire::Type::namespaces, nullptr, nullptr, nullptr);
    return ask(handle, request, timeout_ms, &visitor, &answer) == Outcome::done;
}

PLATFORM_API const char *libmortox_last_error(const mortox_t *handle) {
    return handle == nullptr ? "there is no handle: the settings store was not opened" : handle->error;
}
