#include "board/boardd/audio/microphone.h"

#include "board/boardd/audio/kept_pipeline.h"
#include "board/boardd/audio/sample_queue.h"
#include "board/boardd/audio/voice.h"
#include "board/boardd/sample.h"
#include "board/boardd/source.h"
#include "board/client/control_call.h"

#include <atomic>
#include <gst/app/gstappsink.h>
#include <stdexcept>

namespace board {

namespace {

constexpr uint64_t patience_us = 3'000'000;
constexpr size_t queue_samples = 200 * samples_per_ms; // what a source may be ahead, as its clock is not ours

class SyntheticMicrophone : public Microphone {
  public:
    std::string name() const override { return "synthetic voice"; }
    void start() override { index_ = 0; }
    void stop() override {}
    std::string error() const override { return ""; }

    void read(Turn &samples) override {
        voice_.speak(index_, samples);
        index_ += samples.size();
    }

  private:
    Voice voice_;
    uint64_t index_ = 0;
};

constexpr char tail_description[] = "audioconvert name=head ! audioresample ! "
                                    "audio/x-raw,format=S16LE,rate=16000,channels=1,layout=interleaved ! "
                                    "appsink name=samples enable-last-sample=false max-buffers=50 drop=true";

GstElement *parse_tail() {
    GError *error = nullptr;
    GstElement *pipeline = gst_parse_launch(tail_description, &error);
    if (error != nullptr) {
        const std::string text = error->message;
        g_error_free(error);
        gst_clear_object(&pipeline);
        throw std::runtime_error(text + "; apt-get install gstreamer1.0-plugins-base");
    }
    return pipeline;
}

/* What a source brings while its pipeline runs. */
class Recording {
  public:
    Recording(struct ev_loop *loop, const Source &source, GstAppSinkCallbacks callbacks, gpointer user,
              Pipeline::Callbacks pipeline_callbacks)
        : pipeline_(loop, parse_tail(), std::move(pipeline_callbacks)),
          linker_(source.description(0), pipeline_.gst(), pipeline_.element("head"), Media::audio) {
        GstElement *samples = pipeline_.element("samples");
        gst_app_sink_set_callbacks(GST_APP_SINK(samples), &callbacks, user, nullptr);
        pipeline_.play([samples](bool live) { g_object_set(samples, "sync", live ? FALSE : TRUE, nullptr); });
    }
    ~Recording() { gst_element_set_state(pipeline_.gst(), GST_STATE_NULL); } // its threads use the linker

  private:
    Pipeline pipeline_;
    SourceLinker linker_;
};

class GstMicrophone : public Microphone {
  public:
    GstMicrophone(struct ev_loop *loop, const std::string &option)
        : loop_(loop), source_(option), queue_(queue_samples),
          pipeline_(loop, "microphone \"" + option + "\"",
                    [this](Pipeline::Callbacks callbacks) { return record(std::move(callbacks)); }) {}

    std::string name() const override { return source_.name(); }

    void start() override {
        queue_.clear();
        last_us_ = monotonic_us();
        pipeline_.start();
    }

    void stop() override { pipeline_.stop(); }
    void read(Turn &samples) override { queue_.pop(samples); }

    std::string error() const override {
        if (monotonic_us() - last_us_ < patience_us) {
            return "";
        }
        const std::string why = pipeline_.error();
        return why.empty() ? "it brings no sound" : why;
    }

  private:
    std::shared_ptr<void> record(Pipeline::Callbacks callbacks) {
        GstAppSinkCallbacks sink_callbacks{};
        sink_callbacks.new_sample = on_sample;
        return std::make_shared<Recording>(loop_, source_, sink_callbacks, this, std::move(callbacks));
    }

    /* On the pipeline's thread. */
    static GstFlowReturn on_sample(GstAppSink *sink, gpointer self) {
        GstSample *sample = gst_app_sink_pull_sample(sink);
        if (sample != nullptr) {
            auto *microphone = static_cast<GstMicrophone *>(self);
            microphone->queue_.push_newest(sample_into_pcm(sample));
            microphone->last_us_ = monotonic_us();
        }
        return GST_FLOW_OK;
    }

    struct ev_loop *loop_;
    Source source_;
    SampleQueue queue_;
    std::atomic<uint64_t> last_us_{0}; /* when it last brought something */
    KeptPipeline pipeline_;            /* behind what its threads use */
};

} // namespace

std::unique_ptr<Microphone> make_microphone(struct ev_loop *loop, const std::string &option) {
    if (option.empty()) {
        return std::make_unique<SyntheticMicrophone>();
    }
    return std::make_unique<GstMicrophone>(loop, option);
}

} // namespace board
