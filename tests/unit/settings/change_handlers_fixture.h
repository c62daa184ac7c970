/*
 * The fixture of tests about settings that change: every handler watches its key, as the control loop has it.
 */
#ifndef TESTS_UNIT_CHANGE_HANDLERS_FIXTURE_H
#define TESTS_UNIT_CHANGE_HANDLERS_FIXTURE_H

#include "core/ipc_loop.h"
#include "libmortoxev.h"
#include "script/daemon_test.h"
#include "settings/change_handlers.h"
#include "settings/device_status.h"
#include "settings/hot_config.h"

#include <ev.h>

struct OrdinaryKey {
    const char *key;
    const char *handler;
    mortox_callback_t callback;
    const char *behind_value; // in the line that names the value
};

inline constexpr OrdinaryKey ordinary_keys[] = {
    {"bind_status", "bind_status_cb", bind_status_cb, ""},
    {"power", "power_status_cb", power_status_cb, ""},
    {"watermark", "watermark_status_cb", watermark_status_cb, " now[1]"},
    {"wdr", "wdr_status_cb", wdr_status_cb, ""},
    {"flip", "flip_status_cb", flip_status_cb, ""},
    {"regioncode", "regioncode_cb", regioncode_cb, ""},
    {"flicker", "flicker_status_cb", flicker_status_cb, ""},
    {"hot_config", "hot_config_cb", hot_config_cb, ""},
};

class ChangeHandlers : public DaemonTest {
  protected:
    ChangeHandlers() {
        settings_handle = libmortoxev_config_open(ev_default_loop(0), 0);
        int32_t registration = 0;
        for (const OrdinaryKey &row : ordinary_keys) {
            libmortox_register_notification(settings_handle, "nvram", "default", row.key, &registration,
                                            row.callback, nullptr, -1, 0);
        }
        libmortox_register_notification(settings_handle, "mem", "default", "hot_status", &registration,
                                        hot_status_cb, nullptr, -1, 0);
        script.journal.clear();
    }

    /* What a change does beyond the lines that every handler writes. */
    Entries effect(const char *key, const char *value) {
        script.journal.clear();
        script::notify(key, value);
        Entries result = journal();
        const size_t frame = value == nullptr ? 1 : 2;
        EXPECT_GE(result.size(), frame);
        result.erase(result.begin(), result.begin() + static_cast<ptrdiff_t>(std::min(frame, result.size())));
        return result;
    }
};

#endif
