#include "media/video_stream.h"

#include "libboardav.h"
#include "libshbf.h"
#include "libvuto_util.h"
#include "media/channels.h"
#include "media/fetch_error.h"
#include "settings/device_status.h"

#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

constexpr uint32_t header_bytes = sizeof(VideoFrameInfo);
constexpr uint32_t payload_max_bytes[video_thread_count] = {409600, 261120};
constexpr useconds_t retry_us = 20000;
constexpr unsigned rest_s = 1;
constexpr unsigned after_kill_s = 10;
constexpr int32_t errors_tolerated = 201;
constexpr uint32_t frames_per_rate = 1200;
constexpr int32_t result_error = -1;
constexpr int32_t result_key_frame_needed = -2;

int32_t channel_numbers[video_thread_count] = {channel_main_stream, channel_sub_stream};

struct VideoFetcher {
    int32_t channel;
    uint32_t capacity;
    int32_t errors; // in a row; only a good frame ends the row
    bool waits_for_key_frame;
    uint64_t rate_since_us;
};

void log_rate(VideoFetcher *fetcher, const VideoFrameInfo &info) {
    if (info.seq == 0) {
        log_debug("[%s:%d]>>>restart venc--------------------", "video_stream_thread", 190);
    }
    if (info.seq % frames_per_rate == 0) {
        const double seconds = static_cast<double>(info.timestamp_us - fetcher->rate_since_us) / 1e6;
        log_info("%s(),video chn %d, fps: %04f\n", "video_stream_thread", fetcher->channel,
                 frames_per_rate / seconds);
        fetcher->rate_since_us = info.timestamp_us;
    }
}

/* A frame came. False when it is of no use before the next key frame. */
bool publish(VideoFetcher *fetcher, uint8_t *buffer, const VideoFrameInfo &info) {
    fetcher->errors = 0;
    if (fetcher->waits_for_key_frame && info.is_key == 0) {
        return false;
    }
    fetcher->waits_for_key_frame = false;
    log_rate(fetcher, info);
    memcpy(buffer, &info, header_bytes);
    shbf_set_size(buffer, info.len + header_bytes);
    shbf_brd_broadcast(fetcher->channel, buffer);
    return true;
}

/* The encoder failed. When it keeps failing the process asks itself to end, again and again until it does. */
void count_error(VideoFetcher *fetcher) {
    ++fetcher->errors;
    if (fetcher->errors <= errors_tolerated) {
        return;
    }
    log_err("%s(),fetch chn %d video error for %d times, exit\n", "video_stream_thread", fetcher->channel,
            fetcher->errors);
    report_fetch_error(fetcher->channel);
    const int result = kill(getpid(), SIGINT);
    log_err("strell:video kill ret=%d", result);
    sleep(after_kill_s);
}

/* One frame, or one reason why not. True when the next may be fetched at once. */
bool fetch(VideoFetcher *fetcher) {
    uint8_t *buffer = shbf_brd_alloc(fetcher->channel, fetcher->capacity + header_bytes);
    if (buffer == nullptr) {
        return false;
    }
    VideoFrameInfo info;
    const int32_t result =
        get_video_stream(fetcher->channel, buffer + header_bytes, fetcher->capacity, &info);
    if (result >= 0 && info.len != 0) {
        if (publish(fetcher, buffer, info)) {
            return true;
        }
    } else if (result == result_error) {
        count_error(fetcher);
    } else if (result == result_key_frame_needed) {
        req_IDR_one(fetcher->channel);
        fetcher->waits_for_key_frame = true;
    }
    shbf_free(buffer);
    return false;
}

} // namespace

int32_t start_video_thread(pthread_t *threads) {
    for (int32_t i = 0; i < video_thread_count; ++i) {
        const int result = pthread_create(&threads[i], nullptr, video_stream_thread, &channel_numbers[i]);
        log_info("%s(), ret is %d\n", "start_video_thread", result);
        if (result != 0) {
            log_err("Create Chn%d video_stream_thread error\n", i);
            return -1;
        }
    }
    return 0;
}

void *video_stream_thread(void *channel) {
    VideoFetcher fetcher{};
    fetcher.channel = *static_cast<const int32_t *>(channel);
    fetcher.capacity = payload_max_bytes[fetcher.channel];
    char name[16];
    snprintf(name, sizeof name, "video%d", fetcher.channel);
    prctl(PR_SET_NAME, name);
    log_info("shbf_index is : %d, shbf_size is %d \n", fetcher.channel, static_cast<int>(fetcher.capacity));
    while (device_status.running) {
        if (device_status.reload_boardav || device_status.bind_status != 1) {
            sleep(rest_s);
        } else if (!fetch(&fetcher)) {
            usleep(retry_us);
        }
    }
    return nullptr;
}
