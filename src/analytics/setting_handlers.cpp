#include "analytics/setting_handlers.h"

#include "analytics/track_mailbox.h"
#include "image/ircut.h"
#include "libalgo_kit.h"
#include "libboardav.h"
#include "libvuto_util.h"
#include "settings/change_frame.h"
#include "settings/device_status.h"
#include "settings/number.h"

#include <string.h>

namespace {

void say_motion_sensitivity(const char *handler, const char *value) {
    log_info("%s(),[motion_sensiti=%s]\n", handler, value);
}

void follow_motion_sensitivity(const char *value) {
    if (device_status.reload_boardav != 1) {
        set_md_sense(number_of(value), MD_SENSE_PICTURE);
    }
}

void say_sound_threshold(const char *handler, const char *value) {
    log_info("%s(),[lsd_threshold=%s]\n", handler, value);
}

void follow_sound_threshold(const char *value) {
    if (device_status.reload_boardav != 1) {
        set_lsd_threshold(number_of(value));
    }
}

void say_night_mode(const char *handler, const char *value) {
    log_info("%s(),[ircut_switch=%s]\n", handler, value);
}

void follow_night_mode(const char *value) {
    ircut_mode_switch(number_of(value));
}

void say_tracking(const char *handler, const char *value) {
    log_info("%s(),[motion_detection_enable=%s]\n", handler, value);
}

void follow_tracking(const char *value) {
    Relaxed<uint8_t> &enabled = device_status.motion_detection_enable;
    int32_t result = 0;
    if (strcmp(value, "on") == 0) {
        if (enabled != 1) {
            enabled = 1;
            result |= track_init();
            result |= algo_shm_init();
        }
    } else if (enabled) {
        enabled = 0;
        result |= track_deinit();
        result |= algo_shm_fini();
    }
    if (result != 0) {
        log_err("ret = %d, track_switch=%d, enable or disable track switch failed!", result, enabled.get());
    }
}

void say_sensitivity(const char *handler, const char *value) {
    log_info("%s(),[algo_sensitivity=%s]\n", handler, value);
}

void follow_sensitivity(const char *value) {
    constexpr int32_t parameter_sensitivity = 0;
    const int32_t lowest = strcmp(value, "lowest") == 0 ? 1 : 0;
    oru_api_algo_set_param(parameter_sensitivity, &lowest, sizeof lowest);
}

constexpr SettingChange motion_sensitivity = {"notify_cb_motion_sensiti", say_motion_sensitivity,
                                              follow_motion_sensitivity, nullptr};
constexpr SettingChange sound_threshold = {"notify_cb_lsd_threshold", say_sound_threshold,
                                           follow_sound_threshold, nullptr};
constexpr SettingChange night_mode = {"anyka_notify_cb_ircut_switch", say_night_mode, follow_night_mode,
                                      nullptr};
constexpr SettingChange tracking = {"track_switch_cb", say_tracking, follow_tracking, nullptr};
constexpr SettingChange sensitivity = {"algo_sensitivity_cb", say_sensitivity, follow_sensitivity, nullptr};

} // namespace

void notify_cb_motion_sensiti(xresponse_t *response, void * /*user*/) {
    handle_setting_change(response, motion_sensitivity);
}

void notify_cb_lsd_threshold(xresponse_t *response, void * /*user*/) {
    handle_setting_change(response, sound_threshold);
}

void anyka_notify_cb_ircut_switch(xresponse_t *response, void * /*user*/) {
    handle_setting_change(response, night_mode);
}

void track_switch_cb(xresponse_t *response, void * /*user*/) {
    handle_setting_change(response, tracking);
}

void algo_sensitivity_cb(xresponse_t *response, void * /*user*/) {
    handle_setting_change(response, sensitivity);
}
