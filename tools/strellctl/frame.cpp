#include "strellctl/frame.h"

#include "strellctl/wording.h"

#include <cstring>

namespace ctl {

namespace {

constexpr uint32_t header_h264 = 0;
constexpr uint32_t header_h265 = 1;
constexpr uint32_t least_pixels = 16;
constexpr uint32_t most_pixels = 16384;

bool is_length(uint32_t pixels) {
    return pixels >= least_pixels && pixels <= most_pixels;
}

} // namespace

const char *codec_name(Codec codec) {
    return codec == Codec::h264 ? "H.264" : "H.265";
}

std::string format_text(const std::optional<StreamFormat> &format) {
    return format ? ctl::format("%s %ux%u", codec_name(format->codec), format->width, format->height) : "?";
}

std::optional<FrameView> view_frame(const shbf_frame_t &frame) {
    FrameView view{};
    if (frame.size <= sizeof view.info) {
        return std::nullopt;
    }
    std::memcpy(&view.info, frame.data, sizeof view.info);
    if (view.info.len != frame.size - sizeof view.info) {
        return std::nullopt;
    }
    view.payload = {static_cast<const char *>(frame.data) + sizeof view.info, view.info.len};
    return view;
}

std::optional<StreamFormat> format_in_header(const VideoFrameInfo &info) {
    const uint32_t width = info.board24 & 0xffff;
    const uint32_t height = info.board24 >> 16;
    if ((info.board0 != header_h264 && info.board0 != header_h265) || !is_length(width) ||
        !is_length(height)) {
        return std::nullopt;
    }
    return StreamFormat{info.board0 == header_h264 ? Codec::h264 : Codec::h265, width, height};
}

} // namespace ctl
