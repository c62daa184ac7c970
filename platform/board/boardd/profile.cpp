#include "board/boardd/profile.h"

#include <algorithm>

namespace board {

namespace {

bool outside(int32_t value, int32_t least, int32_t most) {
    return value < least || value > most;
}

bool bad_length(int32_t pixels, int32_t most) {
    return outside(pixels, size_min_pixels, most) || pixels % 2 != 0;
}

std::string channel_objection(const VencChannel &channel) {
    if (outside(channel.pt, 0, 1)) {
        return "encoding " + std::to_string(channel.pt) + " is neither 0 (H.264) nor 1 (H.265)";
    }
    if (bad_length(channel.width, width_max_pixels) || bad_length(channel.height, height_max_pixels)) {
        return "size " + std::to_string(channel.width) + "x" + std::to_string(channel.height) +
               " is not an even one from 64x64 to 2560x1440";
    }
    if (outside(channel.fps, fps_min, fps_max)) {
        return std::to_string(channel.fps) + " frames per second are not 1 to 30";
    }
    if (outside(channel.bitrate, bitrate_min, bitrate_max)) {
        return std::to_string(channel.bitrate) + " bit/s are not 10000 to 8000000";
    }
    return "";
}

int64_t pixels(const VencChannel &channel) {
    return int64_t{channel.width} * channel.height;
}

} // namespace

std::string profile_objection(const VencConfig &profile) {
    for (const VencChannel &channel : profile.channel) {
        const std::string objection = channel_objection(channel);
        if (!objection.empty()) {
            return "channel " + std::to_string(&channel - profile.channel) + ": " + objection;
        }
    }
    return "";
}

bool same_encoding(const VencChannel &one, const VencChannel &other) {
    return one.pt == other.pt && one.bitrate == other.bitrate && one.fps == other.fps &&
           one.width == other.width && one.height == other.height;
}

const char *encoding_name(int32_t pt) {
    return pt == 0 ? "H.264" : "H.265";
}

CaptureFormat capture_format(const VencConfig &profile) {
    const VencChannel &main = profile.channel[0];
    const VencChannel &sub = profile.channel[1];
    const VencChannel &largest = pixels(sub) > pixels(main) ? sub : main;
    return {largest.width, largest.height, std::max(main.fps, sub.fps)};
}

} // namespace board
