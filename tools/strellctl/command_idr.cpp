// strellctl idr: asks for a key frame, and waits for it.

#include "strellctl/all_commands.h"
#include "strellctl/clock.h"
#include "strellctl/diagnosis.h"
#include "strellctl/failure.h"
#include "strellctl/output.h"
#include "strellctl/receiver.h"
#include "strellctl/wording.h"

namespace ctl {

namespace {

constexpr uint64_t key_frame_max_us = 5 * us_per_s;

/* True when a key frame came before the deadline. */
bool wait_for_key_frame(Receiver *video, uint64_t deadline_us, const Interrupt &interrupt, bool *saw_frames) {
    for (;;) {
        switch (video->wait(deadline_us, interrupt)) {
        case Receiver::Outcome::frame:
            *saw_frames = true;
            if (video->frame().info.is_key != 0) {
                return true;
            }
            if (video->received_us() >= deadline_us) {
                return false;
            }
            break;
        case Receiver::Outcome::time_is_up:
            return false;
        case Receiver::Outcome::interrupted:
            throw Failure("interrupted before the key frame came");
        case Receiver::Outcome::gone:
            throw Failure("strell_v2 has ended, or has dropped this receiver: see its log");
        }
    }
}

} // namespace

int run_idr(const Arguments &arguments) {
    const Stream &stream = stream_named(arguments.word(0));
    const Interrupt interrupt;
    Receiver video(stream);
    const uint64_t asked_us = monotonic_us();
    if (!video.request_key_frame()) {
        throw Failure("strell_v2 does not take the request: it hangs, or has just ended");
    }
    bool saw_frames = false;
    if (!wait_for_key_frame(&video, asked_us + key_frame_max_us, interrupt, &saw_frames)) {
        throw Failure(saw_frames ? "frames came, but no key frame within 5 s: see the log of strell_v2"
                                 : "no frames came within 5 s: " + why_no_frames(stream));
    }
    print_line(format("%s: key frame after %.0f ms, %s", stream.name,
                      seconds_of(video.received_us() - asked_us) * 1000,
                      bytes_text(video.frame().info.len).c_str()));
    return exit_good;
}

} // namespace ctl
