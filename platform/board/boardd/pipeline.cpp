#include "board/boardd/pipeline.h"

#include "board/boardd/elements.h"

#include <utility>

namespace board {

Pipeline::Pipeline(struct ev_loop *loop, GstElement *pipeline, Callbacks callbacks)
    : loop_(loop), pipeline_(GST_ELEMENT(gst_object_ref_sink(pipeline))), bus_(gst_element_get_bus(pipeline)),
      callbacks_(std::move(callbacks)) {
    GPollFD bus_fd{};
    gst_bus_get_pollfd(bus_, &bus_fd);
    ev_io_init(&watcher_, on_bus, bus_fd.fd, EV_READ);
    watcher_.data = this;
    ev_io_start(loop_, &watcher_);
    // Frames carry times of CLOCK_MONOTONIC, whatever clock a source would rather have.
    GstClock *clock = gst_system_clock_obtain();
    gst_pipeline_use_clock(GST_PIPELINE(pipeline_), clock);
    gst_object_unref(clock);
}

Pipeline::~Pipeline() {
    ev_io_stop(loop_, &watcher_);
    gst_element_set_state(pipeline_, GST_STATE_NULL);
    gst_object_unref(bus_);
    gst_object_unref(pipeline_);
}

GstElement *Pipeline::element(const char *name) const {
    GstElement *found = gst_bin_get_by_name(GST_BIN(pipeline_), name);
    if (found != nullptr) {
        gst_object_unref(found);
    }
    return found;
}

void Pipeline::play(const std::function<void(bool live)> &prepare) {
    const GstStateChangeReturn paused = gst_element_set_state(pipeline_, GST_STATE_PAUSED);
    prepare(paused == GST_STATE_CHANGE_NO_PREROLL);
    gst_element_set_state(pipeline_, GST_STATE_PLAYING);
}

void Pipeline::on_bus(struct ev_loop * /*loop*/, ev_io *watcher, int /*events*/) {
    static_cast<Pipeline *>(watcher->data)->drain_bus();
}

void Pipeline::drain_bus() {
    bool done = false;
    while (!done) {
        GstMessage *message = gst_bus_pop_filtered(
            bus_, static_cast<GstMessageType>(GST_MESSAGE_ERROR | GST_MESSAGE_EOS | GST_MESSAGE_LATENCY));
        if (message == nullptr) {
            return;
        }
        done = take(message); // the pipeline may be gone afterwards
        gst_message_unref(message);
    }
}

bool Pipeline::take(GstMessage *message) {
    const Callbacks callbacks = callbacks_; // what is called may destroy this
    switch (GST_MESSAGE_TYPE(message)) {
    case GST_MESSAGE_LATENCY:
        gst_bin_recalculate_latency(GST_BIN(pipeline_));
        return false;
    case GST_MESSAGE_EOS:
        callbacks.ended();
        return true;
    default:
        callbacks.failed(error_text(message));
        return true;
    }
}

std::string error_text(GstMessage *message) {
    GError *error = nullptr;
    gst_message_parse_error(message, &error, nullptr);
    std::string text = error->message;
    if (g_error_matches(error, GST_CORE_ERROR, GST_CORE_ERROR_MISSING_PLUGIN) ||
        g_error_matches(error, GST_STREAM_ERROR, GST_STREAM_ERROR_CODEC_NOT_FOUND)) {
        text += "; apt-get install gstreamer1.0-libav gstreamer1.0-plugins-good gstreamer1.0-plugins-bad";
    }
    g_error_free(error);
    return text;
}

} // namespace board
