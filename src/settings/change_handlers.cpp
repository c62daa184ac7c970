#include "settings/change_handlers.h"

#include "core/ipc_loop.h"
#include "libalgo_kit.h"
#include "libboardav.h"
#include "libvuto_util.h"
#include "settings/change_frame.h"
#include "settings/device_status.h"
#include "settings/hot_config.h"
#include "settings/number.h"
#include "settings/region.h"

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace {

// ---- flags that follow one word ----

struct Switch {
    Relaxed<uint8_t> DeviceStatus::*flag;
    const char *word;
    uint8_t value_at_word; // anything else makes it the other one
    // The word acts every time it comes. Anything else acts only when it changes the flag, but for
    // bind_status, which the board is told each time.
    bool all_else_acts_each_time;
    void (*at_word)();
    void (*at_all_else)();
};

template <const Switch &row>
void follow(const char *value) {
    Relaxed<uint8_t> &flag = device_status.*row.flag;
    const auto other_value = static_cast<uint8_t>(1 - row.value_at_word);
    if (strcmp(value, row.word) == 0) {
        flag = row.value_at_word;
        row.at_word();
    } else if (row.all_else_acts_each_time || flag != other_value) {
        flag = other_value;
        row.at_all_else();
    }
}

template <int32_t (*board_call)()>
void tell_board() {
    board_call();
}

template <int32_t bound>
void tell_bound() {
    switch_ch5_res(bound);
}

void power_off() {
    oru_api_algo_stop();
    stop_stream();
}

void power_on() {
    oru_api_algo_start();
    start_stream();
}

constexpr Switch bind_switch = {&DeviceStatus::bind_status, "ok", 1, true, tell_bound<1>, tell_bound<0>};
constexpr Switch power_switch = {&DeviceStatus::power, "off", 0, false, power_off, power_on};
constexpr Switch watermark_switch = {&DeviceStatus::watermark, "on", 1, false, tell_board<enable_osd>,
                                     tell_board<disable_osd>};
constexpr Switch wdr_switch = {&DeviceStatus::wdr,     "on", 1, false, tell_board<enable_wdr>,
                               tell_board<disable_wdr>};
constexpr Switch flip_switch = {&DeviceStatus::flip,         "on", 1, false, tell_board<set_video_Vflip>,
                                tell_board<set_video_normal>};

// ---- values that are no flags, and what is special about single keys ----

void follow_wdr(const char *value) {
    if (device_status.wdr == 0) { // as it was
        log_info("wdr is close");
    } else {
        log_info("wdr is open");
    }
    follow<wdr_switch>(value);
}

void follow_region(const char *value) {
    device_status.region_code = region_code_of(value); // the board learns it with the next time stamp
}

void forget_region() {
    device_status.region_code = region_other;
}

void follow_flicker(const char *value) {
    const int32_t hz = number_of(value);
    if (hz != device_status.flicker_hz) {
        device_status.flicker_hz = hz;
        set_video_flicker(hz);
    }
}

void forget_flicker() {
    constexpr int32_t default_hz = 50;
    device_status.flicker_hz = default_hz;
}

void follow_hot_config(const char *value) {
    hot_config_str_to_vencconfig(value); // the board learns it through hot_status
}

void say(const char *handler, const char *value) {
    log_info("%s(),[%s]\n", handler, value);
}

void say_with_watermark(const char *handler, const char *value) {
    log_info("%s(),[%s] now[%d]\n", handler, value, device_status.watermark.get());
}

// ---- the handlers of ordinary keys ----

enum ChangeIndex : int32_t {
    change_bind_status,
    change_power,
    change_watermark,
    change_wdr,
    change_flip,
    change_regioncode,
    change_flicker,
    change_hot_config,
};

constexpr SettingChange changes[] = {
    {"bind_status_cb", say, follow<bind_switch>, nullptr},
    {"power_status_cb", say, follow<power_switch>, nullptr},
    {"watermark_status_cb", say_with_watermark, follow<watermark_switch>, nullptr},
    {"wdr_status_cb", say, follow_wdr, nullptr},
    {"flip_status_cb", say, follow<flip_switch>, nullptr},
    {"regioncode_cb", say, follow_region, forget_region},
    {"flicker_status_cb", say, follow_flicker, forget_flicker},
    {"hot_config_cb", say, follow_hot_config, nullptr},
};

// ---- hot_status ----

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
    if (result == nullptr) {
        return;
    }
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

void bind_status_cb(xresponse_t *response, void * /*user*/) {
    handle_setting_change(response, changes[change_bind_status]);
}

void power_status_cb(xresponse_t *response, void * /*user*/) {
    handle_setting_change(response, changes[change_power]);
}

void watermark_status_cb(xresponse_t *response, void * /*user*/) {
    handle_setting_change(response, changes[change_watermark]);
}

void wdr_status_cb(xresponse_t *response, void * /*user*/) {
    handle_setting_change(response, changes[change_wdr]);
}

void flip_status_cb(xresponse_t *response, void * /*user*/) {
    handle_setting_change(response, changes[change_flip]);
}

void regioncode_cb(xresponse_t *response, void * /*user*/) {
    handle_setting_change(response, changes[change_regioncode]);
}

void flicker_status_cb(xresponse_t *response, void * /*user*/) {
    handle_setting_change(response, changes[change_flicker]);
}

void hot_config_cb(xresponse_t *response, void * /*user*/) {
    handle_setting_change(response, changes[change_hot_config]);
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
