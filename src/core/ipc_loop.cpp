#include "core/ipc_loop.h"

#include "analytics/setting_handlers.h"
#include "control/ipc_server.h"
#include "libmortoxev.h"
#include "libvuto_util.h"
#include "media/channels.h"
#include "settings/change_handlers.h"

#include <ev.h>
#include <sys/prctl.h>
#include <unistd.h>

mortox_t *settings_handle;

namespace {

ev_async ipc_stop_async;

struct SettingsWatch {
    const char *name_space;
    const char *key;
    mortox_callback_t handler;
    const char *name_in_message; // that of another key in one row, as it has always been
};

// In the order of registration.
constexpr SettingsWatch settings_watches[] = {
    {"nvram", "bind_status", bind_status_cb, "bind_status"},
    {"nvram", "power", power_status_cb, "power"},
    {"nvram", "watermark", watermark_status_cb, "watermark"},
    {"nvram", "wdr", wdr_status_cb, "wdr"},
    {"nvram", "flip", flip_status_cb, "flip"},
    {"nvram", "regioncode", regioncode_cb, "regioncode"},
    {"nvram", "flicker", flicker_status_cb, "flicker"},
    {"nvram", "hot_config", hot_config_cb, "hot_config"},
    {"mem", "hot_status", hot_status_cb, "hot_status"},
    {"nvram", "motion_region", notify_cb_motion_sensiti, "motion_region"},
    {"nvram", "lsd_threshold", notify_cb_lsd_threshold, "regioncode"},
    {"nvram", "night_mode", anyka_notify_cb_ircut_switch, "night_mode"},
    {"nvram", "motion_detection_enable", track_switch_cb, "motion_detection_enable"},
    {"nvram", "algo_sensitivity", algo_sensitivity_cb, "algo_sensitivity"},
};

/* A setting that cannot be watched is simply not followed. */
void register_watches(int32_t *reg_id) {
    for (const SettingsWatch &watch : settings_watches) {
        if (!libmortox_register_notification(settings_handle, watch.name_space, "default", watch.key, reg_id,
                                             watch.handler, nullptr, -1, 0)) {
            log_err("register %s faild.\n", watch.name_in_message);
        }
    }
}

struct Created {
    int32_t media_channels;
    bool all; // the event channels too
};

Created create_channels() {
    for (int32_t index = 0; index < media_channel_count; ++index) {
        const int32_t result = shbf_init(index);
        if (result < 0) {
            log_err("shbf_init(%d) fail %d, quit.\n", index, result);
            return {index, false};
        }
    }
    constexpr int32_t event_channels[] = {event_channel_motion, event_channel_sound};
    for (const int32_t index : event_channels) {
        const int32_t result = shbf_server_int(index);
        if (result < 0) {
            log_err("shbf_server_int md fail %d, quit.\n", result);
            return {media_channel_count, false};
        }
    }
    return {media_channel_count, true};
}

void on_stop(struct ev_loop * /*loop*/, ev_async * /*watcher*/, int /*revents*/) {
    stop_ipc_loop();
}

} // namespace

void stop_ipc_loop(void) {
    // Not ev_default_loop: where there is no loop yet, or no more, that makes one, in a signal handler.
    struct ev_loop *loop = ev_default_loop_uc_();
    if (loop != nullptr) {
        ev_async_send(loop, &ipc_stop_async);
        ev_break(loop, EVBREAK_ALL);
    }
}

void destroy_shbf_servers(int32_t count) {
    for (int32_t index = 0; index < count; ++index) {
        shbfev_brd_destroy(media_channels[index].broadcaster.load(std::memory_order_acquire));
        media_channels[index].receivers = 0;
    }
}

void *ipc_thread(void * /*argument*/) {
    struct ev_loop *loop = ev_default_loop(0);
    if (prctl(PR_SET_NAME, "av_rpc") != 0) {
        log_warning("prctl setname failed\n");
    }
    settings_handle = libmortoxev_config_open(loop, 0);
    int32_t reg_id = -1;
    register_watches(&reg_id);
    const int listen_fd = ipc_server_create();
    if (listen_fd < 0) {
        return nullptr; // with nothing torn down: the connection to the store stays open
    }
    ev_io accept_watcher; // lives as long as the loop
    ev_io_init(&accept_watcher, ipc_accept_handle, listen_fd, EV_READ);
    ev_io_start(loop, &accept_watcher);
    ev_async_init(&ipc_stop_async, on_stop);
    ev_async_start(loop, &ipc_stop_async);
    const Created created = create_channels();
    if (created.all) {
        log_info("start mainloop,ev_backend is %d\n", static_cast<int>(ev_backend(loop)));
        ev_run(loop, 0);
        log_info("%s(),%d\n", "ipc_thread", 2542);
    }
    destroy_shbf_servers(created.media_channels);
    libmortoxev_close(loop, settings_handle);
    ev_loop_destroy(ev_default_loop(0));
    if (listen_fd > 0) {
        close(listen_fd);
    }
    return nullptr;
}
