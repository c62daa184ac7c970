#include "board/boardd/encoder.h"

#include "board/boardd/sample.h"

#include <algorithm>
#include <gst/video/video.h>
#include <stdexcept>
#include <utility>

namespace board {

namespace {

/* A frame may not be larger than what the rate brings in this time, so that no key frame outgrows the memory
 * that readers give it. */
constexpr int32_t rate_buffer_ms = 1000;
constexpr int32_t rate_buffer_max_bits = 3'000'000;

/* Below this many pixels a frame is encoded on one thread, and in smaller blocks: handing rows to more
 * threads costs more than it gains. */
constexpr int32_t threads_pay_from_pixels = 640 * 480;

std::string number(int32_t value) {
    return std::to_string(value);
}

int32_t rate_buffer_bits(int32_t bitrate) {
    return std::min(bitrate, rate_buffer_max_bits);
}

/* The same as x264enc wants it: how long it takes to fill the buffer. */
int32_t rate_buffer_fill_ms(int32_t bitrate) {
    return static_cast<int32_t>(int64_t{rate_buffer_bits(bitrate)} * rate_buffer_ms / bitrate);
}

std::string h265_description(const VencChannel &channel) {
    const bool threads = channel.width * channel.height >= threads_pay_from_pixels;
    return "x265enc name=encoder speed-preset=ultrafast tune=zerolatency log-level=none bitrate=" +
           number(channel.bitrate / 1000) + " key-int-max=" + number(channel.fps * key_frame_interval_s) +
           " option-string=\"scenecut=0:open-gop=0:info=0:vbv-maxrate=" + number(channel.bitrate / 1000) +
           ":vbv-bufsize=" + number(rate_buffer_bits(channel.bitrate) / 1000) +
           (threads ? ":frame-threads=1:pools=2:ctu=64" : ":frame-threads=1:pools=none:wpp=0") +
           "\" ! h265parse config-interval=-1 ! video/x-h265,stream-format=byte-stream,alignment=au";
}

std::string h264_description(const VencChannel &channel) {
    const bool threads = channel.width * channel.height >= threads_pay_from_pixels;
    return "x264enc name=encoder speed-preset=ultrafast tune=zerolatency byte-stream=true bitrate=" +
           number(channel.bitrate / 1000) + " key-int-max=" + number(channel.fps * key_frame_interval_s) +
           " vbv-buf-capacity=" + number(rate_buffer_fill_ms(channel.bitrate)) +
           " threads=" + (threads ? "2" : "1") +
           " option-string=\"scenecut=0:open-gop=0\" ! h264parse config-interval=-1 ! "
           "video/x-h264,stream-format=byte-stream,alignment=au";
}

std::string description(const VencChannel &channel) {
    return "appsrc name=input format=time is-live=true min-latency=0 max-buffers=2 max-bytes=0 max-time=0 "
           "leaky-type=downstream ! "
           "videoscale add-borders=true ! video/x-raw,pixel-aspect-ratio=1/1,width=" +
           number(channel.width) + ",height=" + number(channel.height) + " ! " +
           (channel.pt == 0 ? h264_description(channel) : h265_description(channel)) +
           " ! appsink name=output sync=false async=false enable-last-sample=false";
}

GstElement *parse(const std::string &text) {
    GError *error = nullptr;
    GstElement *pipeline = gst_parse_launch(text.c_str(), &error);
    if (error != nullptr) {
        const std::string why = error->message;
        g_error_free(error);
        gst_clear_object(&pipeline);
        throw std::runtime_error("cannot build an encoder: " + why);
    }
    return pipeline;
}

} // namespace

Encoder::Encoder(struct ev_loop *loop, const VencChannel &channel, FrameSink &sink,
                 const std::function<void(const std::string &why)> &failed)
    : sink_(sink), channel_(channel), pace_(channel.fps),
      pipeline_(loop, parse(description(channel)), {failed, [failed] { failed("the encoder has ended"); }}),
      input_(GST_APP_SRC(pipeline_.element("input"))), output_(pipeline_.element("output")) {
    GstAppSinkCallbacks callbacks{};
    callbacks.new_sample = on_sample;
    gst_app_sink_set_callbacks(GST_APP_SINK(output_), &callbacks, this, nullptr);
    pipeline_.play([](bool) {});
}

void Encoder::take_raw(GstBuffer *buffer, GstCaps *caps) {
    if (!pace_.due(buffer_time(buffer) / 1000U)) {
        return;
    }
    set_input_caps(caps);
    gst_app_src_push_buffer(input_, gst_buffer_ref(buffer));
}

/* The rate control counts by the frame rate in the caps, which is this encoder's and not the capture's. */
void Encoder::set_input_caps(GstCaps *caps) {
    if (caps == input_caps_) {
        return;
    }
    GstCaps *own = gst_caps_copy(caps);
    gst_caps_set_simple(own, "framerate", GST_TYPE_FRACTION, channel_.fps, 1, nullptr);
    gst_app_src_set_caps(input_, own);
    gst_caps_unref(own);
    gst_caps_replace(&input_caps_, caps);
}

void Encoder::request_key_frame() {
    gst_element_send_event(output_,
                           gst_video_event_new_upstream_force_key_unit(GST_CLOCK_TIME_NONE, TRUE, 0));
}

/* x265 keeps the limit that it was given at the start, x264 has it follow the target. */
bool Encoder::set_bitrate(int32_t bitrate) {
    const bool h264 = channel_.pt == 0;
    if (!h264 && bitrate > channel_.bitrate) {
        return false;
    }
    GstElement *encoder = pipeline_.element("encoder");
    if (h264) {
        g_object_set(encoder, "vbv-buf-capacity", static_cast<guint>(rate_buffer_fill_ms(bitrate)), nullptr);
    }
    g_object_set(encoder, "bitrate", static_cast<guint>(bitrate / 1000), nullptr);
    return true;
}

GstFlowReturn Encoder::on_sample(GstAppSink *sink, gpointer self) {
    GstSample *sample = gst_app_sink_pull_sample(sink);
    if (sample == nullptr) {
        return GST_FLOW_OK;
    }
    GstBuffer *buffer = gst_sample_get_buffer(sample);
    GstMapInfo map;
    if (gst_buffer_map(buffer, &map, GST_MAP_READ)) {
        static_cast<Encoder *>(self)->sink_.take(
            {map.data, static_cast<uint32_t>(map.size), sample_is_key(sample), sample_time(sample) / 1000U});
        gst_buffer_unmap(buffer, &map);
    }
    gst_sample_unref(sample);
    return GST_FLOW_OK;
}

} // namespace board
