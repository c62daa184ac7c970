#include "board/boardd/capture.h"

#include "board/boardd/sample.h"

#include <gst/video/video.h>
#include <stdexcept>
#include <utility>

namespace board {

namespace {

/* Everything behind the source. The test scene keeps its rate by itself; every other source is brought to it,
 * which costs a frame of delay. */
std::string tail_description(const CaptureFormat &format, bool keeps_rate) {
    return std::string(keeps_rate ? "" : "videorate name=head skip-to-first=true ! ") + "videoconvertscale " +
           (keeps_rate ? "name=head " : "") +
           "add-borders=true ! "
           "video/x-raw,format=I420,pixel-aspect-ratio=1/1,width=" +
           std::to_string(format.width) + ",height=" + std::to_string(format.height) +
           ",framerate=" + std::to_string(format.fps) +
           "/1 ! "
           "textoverlay name=overlay silent=true halignment=left valignment=top shaded-background=true "
           "font-desc=\"Sans "
           "14\" ! "
           "appsink name=frames enable-last-sample=false max-buffers=2 drop=true";
}

GstElement *parse_tail(const std::string &description) {
    GError *error = nullptr;
    GstElement *pipeline = gst_parse_launch(description.c_str(), &error);
    if (error != nullptr) {
        const std::string text = error->message;
        g_error_free(error);
        gst_clear_object(&pipeline);
        throw std::runtime_error("cannot build the capture pipeline: " + text);
    }
    return pipeline;
}

/* The planes of a mapped frame. */
Planes planes_of(GstVideoFrame *frame) {
    const auto plane = [frame](guint i) {
        return Plane{static_cast<uint8_t *>(GST_VIDEO_FRAME_COMP_DATA(frame, i)),
                     GST_VIDEO_FRAME_COMP_STRIDE(frame, i), GST_VIDEO_FRAME_COMP_WIDTH(frame, i),
                     GST_VIDEO_FRAME_COMP_HEIGHT(frame, i)};
    };
    return {plane(0), plane(1), plane(2)};
}

} // namespace

Capture::Capture(struct ev_loop *loop, const Source &source, const CaptureFormat &format, Picture &picture,
                 RawFrameSink &sink, Pipeline::Callbacks callbacks)
    : format_(format), is_scene_(source.is_scene()), picture_(picture), sink_(sink),
      pipeline_(std::make_unique<Pipeline>(loop, parse_tail(tail_description(format, source.is_scene())),
                                           std::move(callbacks))),
      linker_(std::make_unique<SourceLinker>(source.description(format.fps), pipeline_->gst(),
                                             pipeline_->element("head"))) {
    GstPad *pad = gst_element_get_static_pad(pipeline_->element("overlay"), "video_sink");
    gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, on_overlay, this, nullptr);
    gst_object_unref(pad);
    GstAppSinkCallbacks sink_callbacks{};
    sink_callbacks.new_sample = on_sample;
    GstElement *frames = pipeline_->element("frames");
    gst_app_sink_set_callbacks(GST_APP_SINK(frames), &sink_callbacks, this, nullptr);
    // What is not live (a file) is played at its own speed; what is live comes at its speed by itself.
    pipeline_->play([frames](bool live) { g_object_set(frames, "sync", live ? FALSE : TRUE, nullptr); });
}

Capture::~Capture() {
    pipeline_.reset(); // its threads use the other members
}

/* Every frame on its way to the time stamp. */
GstPadProbeReturn Capture::on_overlay(GstPad *pad, GstPadProbeInfo *info, gpointer self) {
    auto *capture = static_cast<Capture *>(self);
    const bool paints = capture->picture_.begin_frame(capture->is_scene_);
    GstElement *overlay = gst_pad_get_parent_element(pad);
    capture->write_stamp(overlay);
    gst_object_unref(overlay);
    GstCaps *caps = gst_pad_get_current_caps(pad);
    if (caps != nullptr) {
        GST_PAD_PROBE_INFO_DATA(info) = capture->process(GST_PAD_PROBE_INFO_BUFFER(info), caps, paints);
        gst_caps_unref(caps);
    }
    return GST_PAD_PROBE_OK;
}

/* A property that is set anew has its text drawn anew, so only when it is another. */
void Capture::write_stamp(GstElement *overlay) {
    std::string text = picture_.stamp(frames());
    if (text != stamp_) {
        g_object_set(overlay, "text", text.c_str(), "silent", text.empty() ? TRUE : FALSE, nullptr);
        stamp_ = std::move(text);
    }
}

/* The frame as the settings want it. A frame that others look at, too, is copied first. */
GstBuffer *Capture::process(GstBuffer *buffer, GstCaps *caps, bool paints) {
    GstVideoInfo format;
    if (gst_video_info_from_caps(&format, caps) == 0) {
        return buffer;
    }
    if (paints) {
        buffer = gst_buffer_make_writable(buffer);
    }
    GstVideoFrame frame;
    if (gst_video_frame_map(&frame, &format, buffer, paints ? GST_MAP_READWRITE : GST_MAP_READ) == 0) {
        return buffer;
    }
    const Planes planes = planes_of(&frame);
    if (paints) {
        picture_.paint(planes, is_scene_, frames());
    }
    sink_.look_at(planes.y, picture_.look());
    if (paints) {
        picture_.draw(planes);
    }
    picture_.measure(planes.y);
    gst_video_frame_unmap(&frame);
    return buffer;
}

GstFlowReturn Capture::on_sample(GstAppSink *sink, gpointer self) {
    GstSample *sample = gst_app_sink_pull_sample(sink);
    if (sample != nullptr) {
        static_cast<Capture *>(self)->deliver(sample, gst_element_get_base_time(GST_ELEMENT(sink)));
    }
    return GST_FLOW_OK;
}

void Capture::deliver(GstSample *sample, GstClockTime base_time) {
    const GstClockTime time = sample_time(sample);
    GstCaps *caps = gst_caps_ref(gst_sample_get_caps(sample));
    GstBuffer *buffer = sample_into_buffer(sample);
    if (GST_CLOCK_TIME_IS_VALID(time)) {
        buffer = buffer_set_time(buffer, time + base_time);
        frames_.fetch_add(1, std::memory_order_relaxed);
        sink_.take_raw(buffer, caps);
    }
    gst_caps_unref(caps);
    gst_buffer_unref(buffer);
}

} // namespace board
