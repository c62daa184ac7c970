/*
 * One video frame as a receiver gets it: a VideoFrameInfo (libboardav.h) and an access unit.
 */
#ifndef STRELLCTL_FRAME_H
#define STRELLCTL_FRAME_H

#include "libboardav.h"
#include "libshbf_receiver.h"

#include <optional>
#include <string>
#include <string_view>

namespace ctl {

enum class Codec { h264, h265 };

/* "H.264", "H.265". */
const char *codec_name(Codec codec);

struct StreamFormat {
    Codec codec;
    uint32_t width; // pixels
    uint32_t height;

    bool operator==(const StreamFormat &) const = default;
};

/* "H.265 2560x1440"; "?" while it is not known. */
std::string format_text(const std::optional<StreamFormat> &format);

/* A look at a frame; valid until the frame is released. */
struct FrameView {
    VideoFrameInfo info;
    std::string_view payload;
};

/* The frame in a shared buffer, or nothing when the bytes are no video frame. */
std::optional<FrameView> view_frame(const shbf_frame_t &frame);

/*
 * Codec and size as the board's own words of the header tell them. Nothing when they make no sense: another
 * board may use these words for something else, and then only the payload tells (bitstream.h).
 */
std::optional<StreamFormat> format_in_header(const VideoFrameInfo &info);

} // namespace ctl

#endif
