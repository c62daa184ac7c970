#include "media/audio_stream.h"

#include "control/play_audio.h"
#include "libboardav.h"
#include "libshbf.h"
#include "libvuto_util.h"
#include "media/channels.h"
#include "media/fetch_error.h"
#include "settings/device_status.h"

#include <signal.h>
#include <string.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

constexpr uint32_t header_bytes = sizeof(AudioFrameInfo);
constexpr uint32_t payload_max_bytes = 1280;
constexpr int32_t report_audio = 2;
constexpr int32_t failures_tolerated = 261;
constexpr uint32_t blocks_per_rate = 1200;
constexpr unsigned rest_s = 1;
constexpr unsigned after_kill_s = 10;
constexpr useconds_t no_buffer_us = 10000;
constexpr useconds_t pace_us = 25000;
constexpr useconds_t retry_us = 100000;

struct AudioFetcher {
    uint32_t published;
    int32_t failures; // in a row
    uint64_t rate_since_us;
};

void log_rate(AudioFetcher *fetcher, uint64_t timestamp_us) {
    if (fetcher->published % blocks_per_rate == 0) {
        const double seconds = static_cast<double>(timestamp_us - fetcher->rate_since_us) / 1e6;
        log_info("%s(), fps: %04f\n", "fetch_aduio_thread", blocks_per_rate / seconds);
        fetcher->rate_since_us = timestamp_us;
    }
}

void publish(AudioFetcher *fetcher, uint8_t *buffer, AudioFrameInfo *info) {
    fetcher->failures = 0;
    log_rate(fetcher, info->timestamp_us);
    info->seq = ++fetcher->published;
    memcpy(buffer, info, header_bytes);
    shbf_set_size(buffer, info->len + header_bytes);
    shbf_brd_broadcast(channel_audio_in, buffer);
}

/* No sound came. When none keeps coming the process asks itself to end, again and again until it does. */
void count_failure(AudioFetcher *fetcher) {
    ++fetcher->failures;
    if (fetcher->failures <= failures_tolerated) {
        return;
    }
    report_fetch_error(report_audio);
    const int result = kill(getpid(), SIGINT);
    log_err("strell:audio kill ret=%d", result);
    sleep(after_kill_s);
}

/* One block, or one reason why not. Result: how long to pause, in microseconds. */
useconds_t fetch(AudioFetcher *fetcher) {
    uint8_t *buffer = shbf_brd_alloc(channel_audio_in, payload_max_bytes + header_bytes);
    if (buffer == nullptr) {
        log_err("%s(), %d, shbfev_alloc\n", "fetch_aduio_thread", 310);
        return no_buffer_us;
    }
    AudioFrameInfo info;
    // Signed: a length that no block can have counts as none.
    if (get_audio_stream(buffer + header_bytes, payload_max_bytes, &info) >= 0 &&
        static_cast<int32_t>(info.len) > 0) {
        publish(fetcher, buffer, &info);
        return pace_us;
    }
    shbf_free(buffer);
    count_failure(fetcher);
    return retry_us;
}

} // namespace

int32_t start_audio_thread(pthread_t *threads) {
    constexpr void *(*bodies[audio_thread_count])(void *) = {fetch_aduio_thread, play_audio};
    for (int32_t i = 0; i < audio_thread_count; ++i) {
        const int result = pthread_create(&threads[i], nullptr, bodies[i], nullptr);
        log_info("%s(), ret is %d\n", "start_audio_thread", result);
        if (result != 0) { // errors come as positive numbers, and main joins what is said to run
            log_err("Create get_audio_stream error\n");
            return -1;
        }
    }
    return 0;
}

void *fetch_aduio_thread(void * /*argument*/) {
    AudioFetcher fetcher{};
    prctl(PR_SET_NAME, "fetch_audio");
    while (device_status.running) {
        if (device_status.reload_boardav) {
            sleep(rest_s);
        } else {
            usleep(fetch(&fetcher));
        }
    }
    return nullptr;
}
