#include "strellctl/gstreamer.h"

#include "strellctl/failure.h"
#include "strellctl/gstreamer_handles.h"

#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>

namespace ctl {

namespace {

constexpr uint64_t ns_per_us = 1000;

struct ErrorFree {
    void operator()(GError *error) const { g_error_free(error); }
};
struct StringFree {
    void operator()(char *text) const { g_free(text); }
};
/* "Error while writing to file: File too large": what stands last in the details is the system's reason. */
std::string sentence(GstMessage *message) {
    GError *error = nullptr;
    char *details = nullptr;
    gst_message_parse_error(message, &error, &details);
    const std::unique_ptr<GError, ErrorFree> held(error);
    const std::unique_ptr<char, StringFree> held_details(details);
    std::string text = error->message;
    while (!text.empty() && text.back() == '.') {
        text.pop_back();
    }
    const std::string all = details != nullptr ? details : "";
    const size_t line = all.rfind('\n');
    return line == std::string::npos || line + 1 == all.size() ? text : text + ": " + all.substr(line + 1);
}

} // namespace

void start_gstreamer() {
    GError *error = nullptr;
    if (gst_is_initialized() == FALSE && gst_init_check(nullptr, nullptr, &error) == FALSE) {
        const std::unique_ptr<GError, ErrorFree> held(error);
        throw Failure(std::string("GStreamer does not start: ") + (error != nullptr ? error->message : "?"));
    }
}

GstElement *build_pipeline(const std::string &description) {
    start_gstreamer();
    GError *error = nullptr;
    GstElement *pipeline =
        gst_parse_launch_full(description.c_str(), nullptr, GST_PARSE_FLAG_FATAL_ERRORS, &error);
    if (pipeline == nullptr || error != nullptr) {
        const std::unique_ptr<GError, ErrorFree> held(error);
        throw Failure(std::string("GStreamer cannot do this: ") + (error != nullptr ? error->message : "?") +
                      " (install gstreamer1.0-plugins-good and gstreamer1.0-plugins-bad)");
    }
    return pipeline;
}

std::optional<std::string> pipeline_error(GstElement *pipeline, uint64_t timeout_ns, bool until_end) {
    const Held<GstBus> bus(gst_element_get_bus(pipeline));
    const auto wanted =
        static_cast<GstMessageType>(GST_MESSAGE_ERROR | (until_end ? GST_MESSAGE_EOS : GST_MESSAGE_UNKNOWN));
    const Held<GstMessage> message(gst_bus_timed_pop_filtered(bus.get(), timeout_ns, wanted));
    if (message == nullptr) {
        return until_end ? std::optional<std::string>("it takes too long") : std::nullopt;
    }
    return GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_ERROR ? std::optional(sentence(message.get()))
                                                                : std::nullopt;
}

std::optional<std::string> pull_bytes(GstElement *sink, uint64_t timeout_ns) {
    const Held<GstSample> sample(gst_app_sink_try_pull_sample(GST_APP_SINK(sink), timeout_ns));
    GstBuffer *buffer = sample != nullptr ? gst_sample_get_buffer(sample.get()) : nullptr;
    if (buffer == nullptr) {
        return std::nullopt;
    }
    std::string bytes(gst_buffer_get_size(buffer), '\0');
    gst_buffer_extract(buffer, 0, bytes.data(), bytes.size());
    return bytes;
}

std::string source_caps(Codec codec) {
    return std::string(codec == Codec::h264 ? "video/x-h264" : "video/x-h265") +
           ",stream-format=byte-stream,alignment=au";
}

const char *parser_element(Codec codec) {
    return codec == Codec::h264 ? "h264parse" : "h265parse";
}

Pipeline::Pipeline(Codec codec, const std::string &rest, const std::string &location)
    : Pipeline(source_caps(codec), rest, location) {}

Pipeline::Pipeline(const std::string &caps, const std::string &rest, const std::string &location)
    : pipeline_(build_pipeline("appsrc name=source format=time max-bytes=0 caps=" + caps + " ! " + rest)),
      source_(gst_bin_get_by_name(GST_BIN(pipeline_), "source")) {
    if (!location.empty()) {
        const Held<GstElement> file(gst_bin_get_by_name(GST_BIN(pipeline_), "file"));
        g_object_set(file.get(), "location", location.c_str(), nullptr);
    }
    gst_element_set_state(pipeline_, GST_STATE_PLAYING);
}

Pipeline::~Pipeline() {
    gst_element_set_state(pipeline_, GST_STATE_NULL);
    gst_object_unref(source_);
    gst_object_unref(pipeline_);
}

void Pipeline::push(std::string_view payload, uint64_t time_us, uint64_t duration_us) {
    GstBuffer *buffer = gst_buffer_new_memdup(payload.data(), payload.size());
    GST_BUFFER_PTS(buffer) = time_us * ns_per_us;
    GST_BUFFER_DTS(buffer) = time_us * ns_per_us;
    if (duration_us > 0) {
        GST_BUFFER_DURATION(buffer) = duration_us * ns_per_us;
    }
    gst_app_src_push_buffer(GST_APP_SRC(source_), buffer); // a pipeline that has failed tells error()
}

uint64_t Pipeline::waiting_bytes() const {
    return gst_app_src_get_current_level_bytes(GST_APP_SRC(source_));
}

std::optional<std::string> Pipeline::error() {
    return pipeline_error(pipeline_, 0, false);
}

std::optional<std::string> Pipeline::finish(uint32_t timeout_s) {
    gst_app_src_end_of_stream(GST_APP_SRC(source_));
    return pipeline_error(pipeline_, timeout_s * GST_SECOND, true);
}

std::string Pipeline::take_output() {
    const Held<GstElement> sink(gst_bin_get_by_name(GST_BIN(pipeline_), "sink"));
    std::string output;
    while (const auto bytes = pull_bytes(sink.get(), 0)) {
        output += *bytes;
    }
    return output;
}

std::optional<StreamFormat> Pipeline::parsed_format(Codec codec) const {
    const Held<GstElement> parser(gst_bin_get_by_name(GST_BIN(pipeline_), "parser"));
    const Held<GstPad> pad(gst_element_get_static_pad(parser.get(), "src"));
    const Held<GstCaps> caps(gst_pad_get_current_caps(pad.get()));
    if (caps == nullptr) {
        return std::nullopt;
    }
    const GstStructure *structure = gst_caps_get_structure(caps.get(), 0);
    int width = 0;
    int height = 0;
    if (gst_structure_get_int(structure, "width", &width) == FALSE ||
        gst_structure_get_int(structure, "height", &height) == FALSE) {
        return std::nullopt;
    }
    return StreamFormat{codec, static_cast<uint32_t>(width), static_cast<uint32_t>(height)};
}

} // namespace ctl
