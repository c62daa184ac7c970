// GStreamer: appsrc ! shmsink in the producer, shmsrc ! appsink in each receiver. The producer writes where
// receivers read: it takes its buffers from the sink's allocator, as an encoder in its place would.

#include "measure.h"
#include "transport.h"

#include <cstdlib>
#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>
#include <gst/gst.h>
#include <unistd.h>

namespace bench {

namespace {

// The sender waits when the arena is full; what it has queued (max-buffers) must not fill it.
constexpr uint32_t arena_frames = 16; // of the largest size

GstElement *launch(const std::string &description) {
    gst_init(nullptr, nullptr);
    GError *error = nullptr;
    GstElement *pipeline = gst_parse_launch(description.c_str(), &error);
    if (pipeline == nullptr || error != nullptr) {
        fail(std::string("GStreamer: ") + error->message);
    }
    return pipeline;
}

/* Brings the pipeline up. False when it cannot yet. */
bool play(GstElement *pipeline) {
    if (gst_element_set_state(pipeline, GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE) {
        gst_element_set_state(pipeline, GST_STATE_NULL);
        return false;
    }
    return true;
}

class GStreamer : public Transport {
  public:
    explicit GStreamer(const Channel &channel)
        : path_(std::string(std::getenv("STRELL_RUN_DIR")) + "/gstreamer" + std::to_string(channel.number)),
          arena_bytes_(arena_frames * channel.capacity) {
        unlink(path_.c_str());
    }
    ~GStreamer() override {
        if (pipeline_ != nullptr) {
            gst_element_set_state(pipeline_, GST_STATE_NULL);
            gst_object_unref(GST_OBJECT(end_));
            gst_object_unref(GST_OBJECT(pipeline_));
        }
    }

    void open_sender() override {
        pipeline_ = launch("appsrc name=end caps=application/octet-stream format=time block=true "
                           "max-bytes=0 max-buffers=4 ! shmsink wait-for-connection=false sync=false "
                           "async=false shm-size=" +
                           std::to_string(arena_bytes_) + " socket-path=" + path_);
        end_ = gst_bin_get_by_name(GST_BIN(pipeline_), "end");
        if (!play(pipeline_)) {
            fail("GStreamer: no sink");
        }
        find_allocator();
    }
    uint8_t *prepare(uint32_t size) override {
        buffer_ = gst_buffer_new_allocate(allocator_, size, nullptr);
        if (buffer_ == nullptr || !gst_buffer_map(buffer_, &map_, GST_MAP_WRITE)) {
            fail("GStreamer: no buffer");
        }
        return map_.data;
    }
    void publish(uint32_t /*size*/) override {
        gst_buffer_unmap(buffer_, &map_);
        if (gst_app_src_push_buffer(GST_APP_SRC(end_), buffer_) != GST_FLOW_OK) {
            fail("GStreamer: cannot push");
        }
    }

    void open_receiver(int /*index*/) override {
        while (access(path_.c_str(), F_OK) != 0) {
            usleep(1000); // the sender is not there yet
        }
        pipeline_ =
            launch("shmsrc is-live=true socket-path=" + path_ +
                   " ! appsink name=end sync=false async=false max-buffers=0 enable-last-sample=false");
        end_ = gst_bin_get_by_name(GST_BIN(pipeline_), "end");
        while (!play(pipeline_)) {
            usleep(1000);
        }
    }
    FrameHead receive() override {
        GstSample *sample = gst_app_sink_pull_sample(GST_APP_SINK(end_));
        if (sample == nullptr) {
            fail("GStreamer: the stream has ended");
        }
        GstBuffer *buffer = gst_sample_get_buffer(sample);
        gst_buffer_map(buffer, &map_, GST_MAP_READ);
        const FrameHead head = look_at(map_.data, map_.size);
        gst_buffer_unmap(buffer, &map_);
        gst_sample_unref(sample);
        return head;
    }

  private:
    /* Asks the sink which memory it would like to have, as elements do. */
    void find_allocator() {
        GstPad *pad = gst_element_get_static_pad(end_, "src");
        GstCaps *caps = gst_caps_new_empty_simple("application/octet-stream");
        GstQuery *query = gst_query_new_allocation(caps, FALSE);
        if (gst_pad_peer_query(pad, query) && gst_query_get_n_allocation_params(query) > 0) {
            gst_query_parse_nth_allocation_param(query, 0, &allocator_, nullptr);
        }
        gst_query_unref(query);
        gst_caps_unref(caps);
        gst_object_unref(pad);
    }

    std::string path_;
    uint32_t arena_bytes_;
    GstElement *pipeline_ = nullptr;
    GstElement *end_ = nullptr; // where the application puts frames in, or takes them out
    GstAllocator *allocator_ = nullptr;
    GstBuffer *buffer_ = nullptr;
    GstMapInfo map_{};
};

} // namespace

std::unique_ptr<Transport> make_gstreamer(const Channel &channel) {
    return std::make_unique<GStreamer>(channel);
}

} // namespace bench
