// Stand-ins for libmortox and libmortoxev. Values and pairs are real allocations, counted, so that a test
// notices what the daemon does not free, and the address sanitizer what it frees twice.

#include "libmortoxev.h"
#include "script/script.h"

#include <algorithm>
#include <cstring>

using script::current;
using script::format;

struct mortox {
    const char *kind;
};

namespace {

mortox ordinary = {"store"};
mortox on_loop = {"store on loop"};
int allocations = 0;
int32_t registrations = 0;

struct Value {
    xdata_t data; // first
    std::string text;
};

/* What is behind a response that has no value for the daemon: not to be read, and not to be freed. */
Value not_for_the_daemon = {{XDATA_TEXT}, "changing"};

/* The response of a request or notification: its value, or why it does not parse. */
struct Response {
    xresponse_t head; // first
    std::string name_space;
    std::string section;
    std::string key;
    const char *value;
    int32_t status;
};

struct Pair {
    NotifyPair pair; // first
    xkey_t key;
    std::string texts[3];
};

bool listed(const std::vector<std::string> &list, const std::string &entry) {
    return std::find(list.begin(), list.end(), entry) != list.end();
}

const char *kind_of(const mortox_t *handle) {
    return handle == nullptr ? "null" : handle->kind;
}

xdata_t *make_value(const char *text) {
    auto *value =
        new Value{{text == nullptr ? XDATA_NONE : current().value_type}, text == nullptr ? "" : text};
    ++allocations;
    return &value->data;
}

} // namespace

namespace script {

int unfreed() {
    return allocations;
}

void notify(const std::string &key, const char *value, int32_t type, int32_t status) {
    for (const Watch &watch : current().watches) {
        if (watch.key == key) {
            Response response = {{type}, watch.name_space, watch.section, key, value, status};
            watch.callback(&response.head, watch.user);
        }
    }
}

void notify_broken(const std::string &key, int32_t status) {
    for (const Watch &watch : current().watches) {
        if (watch.key == key) {
            Response response = {{XRESPONSE_ERROR}, "", "", "", nullptr, status};
            watch.callback(&response.head, watch.user);
        }
    }
}

} // namespace script

extern "C" {

mortox_t *libmortox_config_open(int32_t flags) {
    current().write(format("libmortox_config_open(%d)", flags));
    return current().store_opens ? &ordinary : nullptr;
}

void libmortox_close(mortox_t *handle) {
    current().write(format("libmortox_close(%s)", kind_of(handle)));
}

mortox_t *libmortoxev_config_open(struct ev_loop *loop, int32_t flags) {
    current().write(format("libmortoxev_config_open(%s, %d)", script::name_of(loop), flags));
    return current().store_on_loop_opens ? &on_loop : nullptr;
}

void libmortoxev_close(struct ev_loop *loop, mortox_t *handle) {
    current().write(format("libmortoxev_close(%s, %s)", script::name_of(loop), kind_of(handle)));
}

bool libmortox_get_value(mortox_t *handle, const char *name_space, const char *section, const char *key,
                         mortox_callback_t callback, void *user, int32_t timeout_ms, int32_t flags) {
    script::Script &script = current();
    script.write(format("libmortox_get_value(%s, %s, %s, %s, %s, %d, %d)", kind_of(handle), name_space,
                        section, key, user == nullptr ? "0" : "?", timeout_ms, flags));
    if (listed(script.get_fails, key)) {
        return false;
    }
    const auto found = script.store.find(std::string(name_space) + ":" + section + ":" + key);
    const char *value = found == script.store.end() ? nullptr : found->second.c_str();
    Response response = {{XRESPONSE_DATA}, name_space, section, key, value, 0};
    callback(&response.head, user);
    return true;
}

bool libmortox_set_value(mortox_t *handle, const char *name_space, const char *section, const char *key,
                         int32_t type, const char *value, mortox_callback_t callback, void *user,
                         int32_t timeout_ms, int32_t flags) {
    script::Script &script = current();
    script.write(format("libmortox_set_value(%s, %s, %s, %s, %d, %s, %s, %s, %d, %d)", kind_of(handle),
                        name_space, section, key, type, value, callback == nullptr ? "0" : "?",
                        user == nullptr ? "0" : "?", timeout_ms, flags));
    if (listed(script.set_fails, key)) {
        return false;
    }
    script.store[std::string(name_space) + ":" + section + ":" + key] = value;
    return true;
}

bool libmortox_register_notification(mortox_t *handle, const char *name_space, const char *section,
                                     const char *key, int32_t *registration, mortox_callback_t callback,
                                     void *user, int32_t timeout_ms, int32_t flags) {
    script::Script &script = current();
    script.write(format("libmortox_register_notification(%s, %s, %s, %s, %s, %d, %d)", kind_of(handle),
                        name_space, section, key, user == nullptr ? "0" : "?", timeout_ms, flags));
    if (listed(script.watch_fails, key) || !listed(script.namespaces, name_space)) {
        return false;
    }
    script.watches.push_back({name_space, section, key, registration, *registration, callback, user});
    *registration = ++registrations;
    return true;
}

int32_t xcontrol_get_response(const xresponse_t *response, xdata_t **data) {
    const auto *full = reinterpret_cast<const Response *>(response);
    const auto planned = current().response_results.find(full->key);
    if (planned != current().response_results.end()) {
        *data = &not_for_the_daemon.data;
        return planned->second;
    }
    *data = full->value == nullptr ? nullptr : make_value(full->value);
    return *data == nullptr ? 0 : 1;
}

void *xresponse_parse(const xresponse_t *response, int32_t *status) {
    const auto *full = reinterpret_cast<const Response *>(response);
    if (*status != -1) {
        current().misuse.emplace_back("xresponse_parse with a status that would pass for its own");
    }
    *status = full->status;
    if (response->type == XRESPONSE_DATA) {
        return make_value(full->value);
    }
    if (response->type == XRESPONSE_ERROR) {
        return nullptr;
    }
    if (response->type != XRESPONSE_NOTIFY && response->type != XRESPONSE_RESYNC) {
        return &not_for_the_daemon.data;
    }
    auto *pair = new Pair{{}, {}, {full->name_space, full->section, full->key}};
    ++allocations;
    pair->key = {pair->texts[0].c_str(), pair->texts[1].c_str(), pair->texts[2].c_str()};
    pair->pair.key = &pair->key;
    pair->pair.value = make_value(full->value);
    return &pair->pair;
}

char *xdata_value_as_char(const xdata_t *data) {
    if (data == nullptr || data->type == XDATA_NONE) {
        return nullptr;
    }
    return strdup(reinterpret_cast<const Value *>(data)->text.c_str());
}

void xdata_free(xdata_t *data) {
    if (data == &not_for_the_daemon.data) {
        current().misuse.emplace_back("xdata_free of what is not the daemon's");
    } else if (data != nullptr) {
        delete reinterpret_cast<Value *>(data);
        --allocations;
    }
}

void xpair_free(NotifyPair *pair, int32_t flags) {
    if (flags != 0) {
        current().misuse.emplace_back("xpair_free with flags");
    }
    if (pair != nullptr) {
        xdata_free(pair->value);
        delete reinterpret_cast<Pair *>(pair);
        --allocations;
    }
}

} // extern "C"
