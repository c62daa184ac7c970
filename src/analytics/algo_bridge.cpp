#include "analytics/algo_bridge.h"

#include "analytics/track_mailbox.h"
#include "libalgo_kit.h"
#include "libvuto_util.h"
#include "media/channels.h"
#include "settings/device_status.h"

#include <string.h>

int32_t oru_algo_init(void) {
    int32_t result = oru_api_algo_init(oru_algo_trigger_event_send, track_result_cb);
    if (device_status.motion_detection_enable) {
        result |= track_init();
        result |= algo_shm_init();
    }
    if (result != 0) {
        log_err("oru_algo_init failed!\n");
    }
    return result;
}

int32_t oru_algo_finish(void) {
    int32_t result = oru_api_algo_deinit();
    result |= algo_shm_fini();
    if (result != 0) {
        log_err("oru_algo_finish failed!\n");
    }
    return result;
}

int32_t oru_algo_trigger_event_send(const char *text, int32_t length) {
    constexpr char sound[] = "AbnormalSound";
    if (text == nullptr) {
        return log_err("[%s %d] error,msg is null \n", "oru_algo_trigger_event_send", 46);
    }
    const bool is_sound = strncmp(text, sound, sizeof sound - 1) == 0;
    const int32_t result =
        shbf_event_broadcast(is_sound ? event_channel_sound : event_channel_motion, text, length);
    if (result < 0) {
        return log_err("broadcast [%s] failed!\n", text);
    }
    return result;
}
