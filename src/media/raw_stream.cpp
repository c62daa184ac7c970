#include "media/raw_stream.h"

#include "libboardav.h"
#include "libshbf.h"
#include "libvuto_util.h"
#include "media/channels.h"
#include "settings/device_status.h"

#include <string.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

constexpr uint32_t payload_max_bytes = 368640;
constexpr uint32_t alignment = 128;
constexpr int32_t bound = 1;
constexpr unsigned rest_s = 1;
constexpr useconds_t no_buffer_us = 10000;

void log_frame(const RawFrameInfo &info) {
    log_info("FrameInfo is {%d, %d, %d, %d, %d, %llu}\n", static_cast<int>(info.board0),
             static_cast<int>(info.board4), static_cast<int>(info.board8), static_cast<int>(info.board12),
             static_cast<int>(info.len), static_cast<unsigned long long>(info.timestamp_us));
}

/* One frame, or none for want of a buffer. */
void publish_frame() {
    const uint32_t capacity = vuto_round(payload_max_bytes, alignment);
    const uint32_t header_space = vuto_round(sizeof(RawFrameInfo), alignment);
    uint8_t *buffer = shbf_brd_alloc(channel_raw_stream, header_space + capacity);
    if (buffer == nullptr) {
        log_err("%s(), %d, shbfev_alloc\n", "rawsnap_thread", 398);
        usleep(no_buffer_us);
        return;
    }
    RawFrameInfo info{};
    get_raw_frame(buffer + header_space, capacity, &info, bound);
    memcpy(buffer, &info, sizeof info);
    log_frame(info);
    shbf_set_size(buffer, info.len + header_space);
    shbf_brd_broadcast(channel_raw_stream, buffer);
}

} // namespace

int32_t start_rawsnap_thread(pthread_t *thread) {
    const int result = pthread_create(thread, nullptr, rawsnap_thread, nullptr);
    if (result < 0) {
        log_err("Create get_audio_stream error\n"); // the words of the sound's starter, as ever
        return -1;
    }
    return 0;
}

void *rawsnap_thread(void * /*argument*/) {
    pthread_detach(pthread_self());
    prctl(PR_SET_NAME, "rawsnap");
    while (device_status.running) {
        if (device_status.reload_boardav) {
            sleep(rest_s);
        } else {
            publish_frame();
        }
    }
    return nullptr;
}
