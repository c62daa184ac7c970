#include "strellctl/bitstream.h"

#include "strellctl/failure.h"
#include "strellctl/gstreamer.h"

namespace ctl {

namespace {

std::optional<StreamFormat> format_if_parsed(std::string_view key_frame) {
    try {
        return format_in_bitstream(key_frame);
    } catch (const Failure &) {
        return std::nullopt;
    }
}

} // namespace

std::optional<StreamFormat> format_in_bitstream(std::string_view key_frame) {
    constexpr uint32_t most_s = 5;
    for (const Codec codec : {Codec::h265, Codec::h264}) {
        Pipeline pipeline(codec, std::string(parser_element(codec)) + " name=parser ! fakesink sync=false");
        pipeline.push(key_frame, 0, 0);
        pipeline.finish(most_s); // the wrong parser ends with an error, and finds nothing
        const std::optional<StreamFormat> format = pipeline.parsed_format(codec);
        if (format) {
            return format;
        }
    }
    return std::nullopt;
}

void FormatFinder::add(const FrameView &frame) {
    looked_ = looked_ && frame.info.seq > last_sequence_;
    last_sequence_ = frame.info.seq;
    const std::optional<StreamFormat> in_header = format_in_header(frame.info);
    if (in_header) {
        format_ = in_header;
    } else if (!looked_ && frame.info.is_key != 0) {
        format_ = format_if_parsed(frame.payload);
        looked_ = true;
    }
}

} // namespace ctl
