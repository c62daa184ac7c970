// strell_v2: brings everything up in order, and waits.
//
// The process ends from the signal handler as a rule (signals.cpp). What follows the joins runs only after a
// start-up step has failed.

#include "analytics/algo_bridge.h"
#include "core/ipc_loop.h"
#include "core/signals.h"
#include "image/ircut.h"
#include "libboardav.h"
#include "libvuto_util.h"
#include "media/audio_stream.h"
#include "media/osd.h"
#include "media/video_stream.h"
#include "settings/device_status.h"
#include "settings/hot_config.h"
#include "settings/start_reading.h"

#include <pthread.h>
#include <string.h>
#include <unistd.h>

namespace {

void join(pthread_t thread, int line) {
    pthread_join(thread, nullptr);
    log_debug("%s(), %d\n", "main", line);
}

unsigned printable(pthread_t thread) {
    return static_cast<unsigned>(thread);
}

/* What follows the control loop, up to the joins: of what was started, in the reverse order. Result: 0, or -1
 * when a thread could not be created. */
int run_workers(pthread_t ipc_tid) {
    pthread_t video_tid[video_thread_count];
    pthread_t audio_tid[audio_thread_count];
    pthread_t osd_tid{};
    if (start_video_thread(video_tid) < 0) {
        device_status.running = 0;
        return -1;
    }
    int result = start_audio_thread(audio_tid);
    if (result < 0) {
        device_status.running = 0;
    } else {
        result = start_osd_thread(&osd_tid);
        if (result >= 0) { // otherwise the others are left to run
            oru_algo_init();
            oru_ircut_init();
            log_info("video_tid is =[%u, %u]\n", printable(video_tid[0]), printable(video_tid[1]));
            log_info("audio_tid is =[%u,%u]\n", printable(audio_tid[0]), printable(audio_tid[1]));
            log_info("ipc_tid is =[%u]\n", printable(ipc_tid));
            log_info("osd_tid is =[%u]\n", printable(osd_tid));
            join(osd_tid, 683);
        }
        join(audio_tid[0], 686);
        join(audio_tid[1], 688);
    }
    join(video_tid[0], 691);
    join(video_tid[1], 693);
    return result;
}

/* The threads, until they end. Result: 0, or the negative result of the step that failed. */
int run_threads() {
    constexpr useconds_t loop_starts_us = 10000;
    log_info("%s(),%d\n", "main", 637);
    pthread_t ipc_tid{};
    const int created = pthread_create(&ipc_tid, nullptr, ipc_thread, nullptr);
    if (created < 0) {
        log_err("Rpc Thread create fail, ret=[%d]\n", created);
        return created;
    }
    usleep(loop_starts_us);
    const int result = run_workers(ipc_tid);
    if (created == 0) {
        join(ipc_tid, 696);
    }
    return result;
}

} // namespace

int main(int /*argc*/, char ** /*argv*/) {
    install_signal_handlers();
    memset(&venc_config, 0, sizeof venc_config);
    settings_read();
    control_venc_dynamically(&venc_config);
    int result = board_system_init(device_status.bind_status);
    if (result >= 0) {
        result = run_threads();
    }
    board_system_exit();
    oru_algo_finish();
    oru_ircut_exit();
    return result;
}
