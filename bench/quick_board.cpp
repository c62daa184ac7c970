// Preloaded into the daemon in place of a board: has a frame for the main stream whenever it is asked, none
// for the sub stream, and silence at its pace. BENCH_QUICK_BOARD_BYTES says how long a frame is.

#include "quick_board.h"
#include "libboardav.h"
#include "libdevice_kitv2.h"

#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr useconds_t nothing_comes_us = 80000;
constexpr useconds_t audio_block_us = 40000;

uint8_t picture[409600];
uint32_t frames = 0; // only the main stream's thread counts
uint32_t picture_bytes = 0;

uint64_t now_us() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
}

} // namespace

#define BOARD_CALL __attribute__((visibility("default")))

extern "C" {

BOARD_CALL int32_t get_deviceType_by_sensor(int32_t *flag_300) {
    *flag_300 = 0;
    return 0;
}

BOARD_CALL int32_t control_venc_dynamically(const VencConfig * /*config*/) {
    return 0;
}

BOARD_CALL int32_t board_system_init(int32_t /*bind_status*/) {
    const char *bytes = getenv(quick_board_bytes_variable);
    if (bytes == nullptr) {
        return -1;
    }
    picture_bytes = static_cast<uint32_t>(atoi(bytes));
    memset(picture, 1, sizeof picture);
    return picture_bytes <= sizeof picture ? 0 : -1;
}

BOARD_CALL int32_t get_video_stream(int32_t channel, void *payload, uint32_t capacity, VideoFrameInfo *info) {
    memset(info, 0, sizeof *info);
    if (channel != 0 || capacity < picture_bytes) {
        usleep(nothing_comes_us);
        return 0;
    }
    memcpy(payload, picture, picture_bytes);
    info->seq = frames++;
    info->timestamp_us = now_us();
    info->len = picture_bytes;
    info->is_key = 1;
    return 0;
}

BOARD_CALL int32_t get_audio_stream(void *payload, uint32_t capacity, AudioFrameInfo *info) {
    usleep(audio_block_us);
    memset(payload, 0, capacity);
    memset(info, 0, sizeof *info);
    info->timestamp_us = now_us();
    info->len = capacity;
    return 0;
}

} // extern "C"
