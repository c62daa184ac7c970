// strellctl record: a stream into a file.

#include "strellctl/all_commands.h"
#include "strellctl/bitstream.h"
#include "strellctl/clock.h"
#include "strellctl/diagnosis.h"
#include "strellctl/failure.h"
#include "strellctl/gstreamer.h"
#include "strellctl/live_lines.h"
#include "strellctl/output.h"
#include "strellctl/receiver.h"
#include "strellctl/recorder.h"
#include "strellctl/wording.h"

#include <unistd.h>

namespace ctl {

namespace {

constexpr uint64_t silence_max_us = 5 * us_per_s;
constexpr double until_interrupted_s = 1e9;

/* On a terminal, what has come so far. */
class Progress {
  public:
    void tell(const Recorder &recorder, uint64_t now_us) {
        if (terminal_ && recorder.frames() > 0 && now_us - told_us_ >= us_per_s / 2) {
            live_.show({"recording: " + recorder.text()});
            told_us_ = now_us;
        }
    }

  private:
    const bool terminal_ = is_terminal(STDERR_FILENO);
    LiveLines live_{STDERR_FILENO};
    uint64_t told_us_ = 0;
};

/* Asks for a key frame while one is needed, and again when the encoder has missed it. */
class KeyFrameRequests {
  public:
    explicit KeyFrameRequests(Receiver *video) : video_(video) {}

    void look(bool needed, uint64_t now_us) {
        if (!needed) {
            since_us_ = 0;
            return;
        }
        if (since_us_ == 0 || now_us - asked_us_ >= again_us) {
            video_->request_key_frame();
            since_us_ = since_us_ == 0 ? now_us : since_us_;
            asked_us_ = now_us;
        }
        if (now_us - since_us_ >= most_us) {
            throw Failure("frames come, but no key frame among them: see the log of strell_v2");
        }
    }

  private:
    static constexpr uint64_t again_us = 2 * us_per_s;
    static constexpr uint64_t most_us = 10 * us_per_s;

    Receiver *video_;
    uint64_t since_us_ = 0; // when the need arose; 0 while there is none
    uint64_t asked_us_ = 0;
};

/* Until the recording is complete or Ctrl-C. Throws Failure for every other end. */
void take_frames(Receiver *video, const Stream &stream, Recorder *recorder, const Interrupt &interrupt) {
    KeyFrameRequests requests(video);
    Progress progress;
    for (;;) {
        requests.look(recorder->waits_for_key_frame(), monotonic_us());
        switch (video->wait(monotonic_us() + silence_max_us, interrupt)) {
        case Receiver::Outcome::frame:
            if (!recorder->add(video->frame())) {
                return;
            }
            progress.tell(*recorder, monotonic_us());
            break;
        case Receiver::Outcome::interrupted:
            return;
        case Receiver::Outcome::gone:
            throw Failure("strell_v2 has ended, or has dropped this receiver: see its log");
        case Receiver::Outcome::time_is_up:
            throw Failure("no frames came for 5 s: " + why_no_frames(stream));
        }
    }
}

/* What is in the file goes where it does not mix with the stream itself. */
void tell_result(const std::string &path, const Recorder &recorder) {
    const std::string text = printable(path) + ": " + recorder.text();
    path == "-" ? notice(text) : print_line(text);
    if (recorder.missing() > 0) {
        notice(count_text(recorder.missing(), "frame") +
               " missing in it: lost on the way, or not decodable without those");
    }
}

/* A failure in the middle leaves a good file with what came before, where that can be done. */
void finish_after_failure(const std::string &path, Recorder *recorder) {
    if (recorder->frames() == 0) {
        return;
    }
    try {
        recorder->finish();
        tell_result(path, *recorder);
    } catch (const Failure &failure) {
        notice(failure.what());
    }
}

} // namespace

int run_record(const Arguments &arguments) {
    const Stream &stream = stream_named(arguments.word(0));
    const std::string &path = arguments.word(1);
    const Ending &ending = ending_of(path);
    const double seconds = arguments.seconds("-t", until_interrupted_s);
    const Interrupt interrupt;
    start_gstreamer(); // takes its time, in which frames would be missed
    Receiver video(stream);
    Recorder recorder(seconds, {.read_format = format_in_bitstream, .open = [&](const StreamFormat &format) {
                                    check_codec(ending, format.codec, stream.name);
                                    return open_recording(path, ending, format.codec);
                                }});
    try {
        take_frames(&video, stream, &recorder, interrupt);
    } catch (const WriteFailure &) {
        throw;
    } catch (const Failure &) {
        finish_after_failure(path, &recorder);
        throw;
    }
    if (recorder.frames() == 0) {
        throw Failure("interrupted before the first key frame: nothing was recorded");
    }
    recorder.finish();
    tell_result(path, recorder);
    return exit_good;
}

} // namespace ctl
