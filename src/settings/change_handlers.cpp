#include "settings/change_handlers.h"

#include "core/ipc_loop.h"
#include "libboardav.h"
#include "libvuto_util.h"
#include "settings/device_status.h"
#include "settings/hot_config.h"

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace {

/* The frame of every handler of an ordinary key: parse, log, apply the text, free. */
void handle_change(xresponse_t *response, const char *handler, void (*apply)(const char *value)) {
    int32_t status = -1;
    NotifyPair *pair = static_cast<NotifyPair *>(xresponse_parse(response, &status));
    if (status != 0) {
        log_err("%s(),Parse recv notify value error.\n", handler);
        return;
    }
    log_info("Notify: %s:%s:%s", pair->key->name_space, pair->key->section, pair->key->key);
    char *value = xdata_value_as_char(pair->value);
    if (value != nullptr) {
        log_info("%s(),[%s]\n", handler, value);
        apply(value);
        free(value);
    }
    xpair_free(pair, 0);
}

bool is_pair(int32_t type) {
    return type == XRESPONSE_NOTIFY || type == XRESPONSE_RESYNC;
}

/* The value inside a parsed response: the response may be plain data, or a pair. */
const xdata_t *value_of(int32_t type, const void *result) {
    if (result == nullptr) {
        return nullptr;
    }
    if (is_pair(type)) {
        return static_cast<const NotifyPair *>(result)->value;
    }
    return type == XRESPONSE_DATA ? static_cast<const xdata_t *>(result) : nullptr;
}

void free_result(int32_t type, void *result) {
    if (is_pair(type)) {
        xpair_free(static_cast<NotifyPair *>(result), 0);
    } else if (type == XRESPONSE_DATA) {
        xdata_free(static_cast<xdata_t *>(result));
    }
}

bool says_changing(const xdata_t *value) {
    if (value == nullptr || value->type != XDATA_TEXT) {
        return false;
    }
    char *text = xdata_value_as_char(value);
    const bool result = text != nullptr && strcmp(text, "changing") == 0;
    free(text);
    return result;
}

void reload_profile() {
    constexpr useconds_t producers_come_to_rest_us = 100000;
    log_debug("XXXXXX, Func:%s, will set reload_boardav=ture", "hot_status_cb");
    device_status.reload_boardav = 1;
    usleep(producers_come_to_rest_us);
    control_venc_dynamically(&venc_config);
    libmortox_set_value(settings_handle, "mem", "default", "hot_status", XDATA_TEXT, "changed", nullptr,
                        nullptr, -1, 0);
    device_status.reload_boardav = 0;
}

} // namespace

void hot_config_cb(xresponse_t *response, void * /*user*/) {
    handle_change(response, "hot_config_cb", [](const char *value) { hot_config_str_to_vencconfig(value); });
}

void hot_status_cb(xresponse_t *response, void * /*user*/) {
    int32_t status = -1;
    void *result = xresponse_parse(response, &status);
    if (status >= 0) {
        log_debug("XXXXXX, Func:%s, x->type:%d", "hot_status_cb", response->type);
        if (says_changing(value_of(response->type, result))) {
            reload_profile();
        }
    }
    free_result(response->type, result);
}
