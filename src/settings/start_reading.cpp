#include "settings/start_reading.h"

#include "libmortox.h"
#include "libvuto_util.h"
#include "settings/device_status.h"
#include "settings/hot_config.h"
#include "settings/number.h"
#include "settings/region.h"

#include <stdlib.h>
#include <string.h>

namespace {

constexpr char name_space[] = "nvram";
constexpr char section[] = "default";

// ---- what each value means; the rest of a callback is the same for all ----

void apply_bind_status(const char *value) {
    if (strcmp(value, "ok") == 0) {
        device_status.bind_status = 1;
        venc_config.bind_status = 1;
    }
}

void apply_power(const char *value) {
    if (strcmp(value, "off") == 0) {
        device_status.power = 0;
    }
}

void apply_watermark(const char *value) {
    if (strcmp(value, "off") == 0) {
        device_status.watermark = 0;
    }
}

void apply_flip(const char *value) {
    if (strcmp(value, "on") == 0) {
        device_status.flip = 1;
    }
}

void apply_wdr(const char *value) {
    if (strcmp(value, "on") == 0) {
        device_status.wdr = 1;
    }
}

void apply_region(const char *value) {
    device_status.region_code = region_code_of(value);
}

void apply_flicker(const char *value) {
    device_status.flicker_hz = number_of(value);
}

void apply_hot_config(const char *value) {
    hot_config_str_to_vencconfig(value);
}

void apply_hdr_switch(const char *value) {
    device_status.hdr_switch = strcmp(value, "on") == 0 ? 1 : 0;
}

void apply_motion_detection(const char *value) {
    device_status.motion_detection_enable = strcmp(value, "on") == 0 ? 1 : 0;
}

// ---- what is said when there is no value ----

void no_value() {
    log_err("Get faild.\n");
}

void no_flicker() {
    log_err("Get flicker faild,default %dhz\n", device_status.flicker_hz.get());
}

void no_hot_config() {
    log_err("Hot Config Get faild.\n");
}

/* The store's answer for one key. */
template <void (*apply)(const char *), void (*complain)()>
void on_value(xresponse_t *response, void * /*user*/) {
    xdata_t *data = nullptr;
    if (xcontrol_get_response(response, &data) != 1) {
        complain();
        return;
    }
    char *value = xdata_value_as_char(data);
    if (value != nullptr) {
        apply(value);
        free(value);
    } else {
        complain();
    }
    xdata_free(data);
}

struct Key {
    const char *key;
    mortox_callback_t callback;
    const char *not_sent;
};

constexpr char not_sent[] = "send get value cmd fail.\n";

constexpr Key keys_before_profile[] = {
    {"bind_status", on_value<apply_bind_status, no_value>, not_sent},
    {"power", on_value<apply_power, no_value>, not_sent},
    {"watermark", on_value<apply_watermark, no_value>, not_sent},
    {"flip", on_value<apply_flip, no_value>, not_sent},
    {"wdr", on_value<apply_wdr, no_value>, not_sent},
    {"regioncode", on_value<apply_region, no_value>, not_sent},
    {"flicker", on_value<apply_flicker, no_flicker>, not_sent},
    {"hot_config", on_value<apply_hot_config, no_hot_config>, not_sent},
};

constexpr Key keys_after_profile[] = {
    {"hdr_switch", on_value<apply_hdr_switch, no_value>, "send get hdr_switch value cmd fail.\n"},
    {"motion_detection_enable", on_value<apply_motion_detection, no_value>,
     "send get motion_detection_enable value cmd fail.\n"},
};

void request(mortox_t *store, const Key &key) {
    if (!libmortox_get_value(store, name_space, section, key.key, key.callback, nullptr, -1, 0)) {
        log_err("%s", key.not_sent);
    }
}

} // namespace

void settings_read(void) {
    mortox_t *store = libmortox_config_open(0);
    if (store == nullptr) {
        log_err("libmortox_open faild.\n");
        exit(1);
    }
    for (const Key &key : keys_before_profile) {
        request(store, key);
    }
    hot_config_ensure(store);
    venc_config.bind_status = device_status.bind_status;
    for (const Key &key : keys_after_profile) {
        request(store, key);
    }
    libmortox_close(store);
    log_info("device status is {%d,%d,%d,%d,%d}\n", device_status.bind_status.get(),
             device_status.power.get(), device_status.watermark.get(), device_status.flip.get(),
             device_status.wdr.get());
}
