// strellctl listen: the microphone into a WAV file.

#include "libboardav.h"
#include "strellctl/all_commands.h"
#include "strellctl/channel.h"
#include "strellctl/clock.h"
#include "strellctl/diagnosis.h"
#include "strellctl/failure.h"
#include "strellctl/output.h"
#include "strellctl/speaker.h"
#include "strellctl/wav_file.h"
#include "strellctl/wording.h"

#include <algorithm>
#include <cstring>

namespace ctl {

namespace {

constexpr uint64_t silence_max_us = 5 * us_per_s;
constexpr double until_interrupted_s = 1e9;

/* The sound in one frame. */
std::string_view sound_in(const std::string &frame) {
    AudioFrameInfo info;
    if (frame.size() >= sizeof info) {
        std::memcpy(&info, frame.data(), sizeof info);
        if (info.len == frame.size() - sizeof info && info.len % 2 == 0) {
            return std::string_view(frame).substr(sizeof info);
        }
    }
    throw Failure(
        "what comes on this channel is no sound: it is served by something else than this version's "
        "strell_v2");
}

/* Whole samples, by what the microphone recorded and not by this machine's clock. */
uint64_t bytes_of(double seconds) {
    const double bytes = seconds * static_cast<double>(sound_bytes_per_s);
    return bytes >= static_cast<double>(wav_most_bytes) ? wav_most_bytes
                                                        : static_cast<uint64_t>(bytes) / 2 * 2;
}

std::string why_silent() {
    const std::string reason = why_camera_rests();
    return reason.empty() ? "see the logs of strell_v2 and its board" : reason;
}

/* Until there is enough, or Ctrl-C. Throws Failure for every other end. */
void take_sound(Channel *microphone, WavFile *file, uint64_t most_bytes, const Interrupt &interrupt) {
    while (file->sound_bytes() < most_bytes) {
        switch (microphone->wait(monotonic_us() + silence_max_us, interrupt)) {
        case Channel::Outcome::frame: {
            const std::string frame = microphone->copy();
            file->write(sound_in(frame).substr(0, most_bytes - file->sound_bytes()));
            break;
        }
        case Channel::Outcome::interrupted:
            return;
        case Channel::Outcome::gone:
            throw Failure("strell_v2 has ended, or has dropped this receiver: see its log");
        case Channel::Outcome::time_is_up:
            throw Failure("no sound came for 5 s: " + why_silent());
        }
    }
}

void finish(const std::string &path, const Channel &microphone, WavFile *file) {
    file->finish();
    const std::string text = format("%s: %.1f s", path == "-" ? "standard output" : printable(path).c_str(),
                                    seconds_of(sound_us(file->sound_bytes())));
    path == "-" ? notice(text) : print_line(text);
    const uint32_t missed = microphone.frame().skipped;
    if (missed > 0) {
        notice(count_text(missed, "block") + " of 40 ms missing in it: this machine was too slow for them");
    }
}

} // namespace

int run_listen(const Arguments &arguments) {
    const std::string &path = arguments.word(0);
    if (path != "-" && !path.ends_with(".wav")) {
        throw Usage("the name of the file has to end with .wav (- is standard output)");
    }
    const uint64_t most_bytes = bytes_of(arguments.seconds("-t", until_interrupted_s));
    const Interrupt interrupt;
    Channel microphone("/run/audio_in", "the microphone's channel");
    WavFile file(path);
    try {
        take_sound(&microphone, &file, most_bytes, interrupt);
    } catch (const Failure &failure) {
        notice(failure.what());
        finish(path, microphone, &file);
        return exit_failed;
    }
    finish(path, microphone, &file);
    return exit_good;
}

} // namespace ctl
