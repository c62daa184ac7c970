/*
 * Encoder profiles: which ones this board can do, and what they need from the sensor. Pure functions, any
 * thread.
 */
#ifndef PLATFORM_BOARD_BOARDD_PROFILE_H
#define PLATFORM_BOARD_BOARDD_PROFILE_H

#include "libboardav.h"

#include <string>

namespace board {

/* What the encoders offer: any even size in these limits, ... */
constexpr int32_t size_min_pixels = 64;
constexpr int32_t width_max_pixels = 2560;
constexpr int32_t height_max_pixels = 1440;
/* ... frame rate, ... */
constexpr int32_t fps_min = 1;
constexpr int32_t fps_max = 30;
/* ... and target bit rate. */
constexpr int32_t bitrate_min = 10'000;
constexpr int32_t bitrate_max = 8'000'000;

/* A key frame comes at the latest after this time. */
constexpr int32_t key_frame_interval_s = 2;

/* Empty when the board can encode so; else why not, for the log. */
std::string profile_objection(const VencConfig &profile);

/* True when an encoder that runs with one need not restart for the other. */
bool same_encoding(const VencChannel &one, const VencChannel &other);

/* "H.264" or "H.265". */
const char *encoding_name(int32_t pt);

/* What the picture is captured at, before each encoder scales it down to its own size. */
struct CaptureFormat {
    int32_t width;
    int32_t height;
    int32_t fps;
    bool operator==(const CaptureFormat &) const = default;
};

/* The size of the channel with the most pixels, and the higher of the two frame rates. */
CaptureFormat capture_format(const VencConfig &profile);

} // namespace board

#endif
