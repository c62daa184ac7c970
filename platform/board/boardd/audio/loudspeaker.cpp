#include "board/boardd/audio/loudspeaker.h"

#include "board/boardd/audio/kept_pipeline.h"
#include "board/boardd/audio/wav_file.h"
#include "board/boardd/log.h"
#include "board/boardd/sample.h"
#include "run_dir/run_dir.h"

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <gst/app/gstappsrc.h>
#include <mutex>
#include <stdexcept>
#include <unistd.h>

namespace board {

namespace {

class NoLoudspeaker : public Loudspeaker {
  public:
    std::string name() const override { return "none"; }
    void start() override {}
    void stop() override {}
    void play(const Turn & /*samples*/, bool /*sounding*/) override {}
    std::string error() const override { return ""; }
};

/* ---- a file ---- */

std::string in_run_dir(const char *path) {
    sockaddr_un address{};
    if (run_dir_address(path, &address) < 0) {
        throw std::runtime_error("the path in STRELL_RUN_DIR is too long");
    }
    return address.sun_path;
}

class WavLoudspeaker : public Loudspeaker {
  public:
    WavLoudspeaker() : path_(in_run_dir(speaker_wav_path)), old_path_(in_run_dir(speaker_old_wav_path)) {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
        std::filesystem::remove(old_path_, ignored);
    }

    std::string name() const override { return path_; }
    void start() override { silent_turns_ = speaker_wav_silent_turns; }
    void stop() override {}
    std::string error() const override { return failed_ ? "cannot write " + path_ : ""; }

    void play(const Turn &samples, bool sounding) override {
        silent_turns_ = sounding ? 0 : silent_turns_ + 1;
        if (silent_turns_ > speaker_wav_silent_turns) {
            silent_turns_ = speaker_wav_silent_turns;
            return;
        }
        if (file_ == nullptr) {
            begin();
        } else if (file_->data_bytes() + sizeof samples > speaker_wav_max_bytes) {
            std::error_code ignored;
            std::filesystem::rename(path_, old_path_, ignored);
            begin();
        }
        failed_ = file_ == nullptr || !file_->append(samples);
    }

  private:
    void begin() {
        file_.reset();
        try {
            file_ = std::make_unique<WavFile>(path_);
        } catch (const std::runtime_error &error) {
            if (!failed_) {
                log_line("%s", error.what());
            }
        }
    }

    std::string path_;
    std::string old_path_;
    std::unique_ptr<WavFile> file_;
    uint32_t silent_turns_ = speaker_wav_silent_turns;
    std::atomic<bool> failed_{false};
};

/* ---- a GStreamer sink ---- */

/* What waits for a sink that does not take it is dropped, oldest first, beyond 200 ms. */
constexpr char head_description[] =
    "appsrc name=samples is-live=true do-timestamp=true format=time block=false max-bytes=6400 "
    "leaky-type=downstream caps=audio/x-raw,format=S16LE,rate=16000,channels=1,layout=interleaved ! "
    "audioconvert ! audioresample ! ";

GstElement *parse_sink(const std::string &sink) {
    GError *error = nullptr;
    GstElement *pipeline = gst_parse_launch_full((head_description + sink).c_str(), nullptr,
                                                 GST_PARSE_FLAG_FATAL_ERRORS, &error);
    if (pipeline == nullptr) {
        const std::string text = error->message;
        g_error_free(error);
        throw std::runtime_error("cannot use the sink: " + text);
    }
    return pipeline;
}

class GstLoudspeaker : public Loudspeaker {
  public:
    GstLoudspeaker(struct ev_loop *loop, std::string sink)
        : loop_(loop), sink_(std::move(sink)),
          pipeline_(loop, "speaker \"" + sink_ + "\"",
                    [this](Pipeline::Callbacks callbacks) { return sound(std::move(callbacks)); }) {}

    std::string name() const override { return sink_; }
    void start() override { pipeline_.start(); }
    void stop() override { pipeline_.stop(); }
    std::string error() const override { return pipeline_.error(); }

    void play(const Turn &samples, bool /*sounding*/) override {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (input_ != nullptr) {
            gst_app_src_push_buffer(input_, buffer_of_pcm(samples));
        }
    }

  private:
    /* The running pipeline, and its input in reach of the audio thread. */
    std::shared_ptr<void> sound(Pipeline::Callbacks callbacks) {
        auto *pipeline = new Pipeline(loop_, parse_sink(sink_), std::move(callbacks));
        set_input(GST_APP_SRC(pipeline->element("samples")));
        pipeline->play([](bool /*live*/) {});
        return {pipeline, [this](Pipeline *running) {
                    set_input(nullptr);
                    delete running;
                }};
    }

    void set_input(GstAppSrc *input) {
        const std::lock_guard<std::mutex> lock(mutex_);
        input_ = input;
    }

    struct ev_loop *loop_;
    std::string sink_;
    std::mutex mutex_; /* guards the pointer against play */
    GstAppSrc *input_ = nullptr;
    KeptPipeline pipeline_;
};

/* ---- which ---- */

/* A playback device of the kernel that this user may open, or a sound server of this user. */
bool has_sound_card() {
    std::error_code ignored;
    for (const auto &entry : std::filesystem::directory_iterator("/dev/snd", ignored)) {
        const std::string name = entry.path().filename();
        if (name.starts_with("pcm") && name.ends_with("p") &&
            access(entry.path().c_str(), R_OK | W_OK) == 0) {
            return true;
        }
    }
    const char *runtime_dir = std::getenv("XDG_RUNTIME_DIR");
    return runtime_dir != nullptr &&
           access((std::string(runtime_dir) + "/pulse/native").c_str(), R_OK | W_OK) == 0;
}

bool has_element(const char *name) {
    GstElementFactory *factory = gst_element_factory_find(name);
    const bool found = factory != nullptr;
    gst_clear_object(&factory);
    return found;
}

} // namespace

std::unique_ptr<Loudspeaker> make_loudspeaker(struct ev_loop *loop, const std::string &option) {
    if (option == "none") {
        return std::make_unique<NoLoudspeaker>();
    }
    if (option.empty() && has_sound_card() && has_element("autoaudiosink")) {
        return std::make_unique<GstLoudspeaker>(loop, "autoaudiosink");
    }
    if (option.empty() || option == "wav") {
        return std::make_unique<WavLoudspeaker>();
    }
    return std::make_unique<GstLoudspeaker>(loop, option);
}

} // namespace board
