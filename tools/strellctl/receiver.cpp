#include "strellctl/receiver.h"

#include "strellctl/clock.h"
#include "strellctl/failure.h"

#include <optional>

namespace ctl {

namespace {

constexpr char key_frame_request[] = "REQ_IDR"; // sent with its NUL
constexpr char no_video[] =
    "what comes on this channel is no video frame: the channel is served by something "
    "else than this version's strell_v2";

std::string what_of(const Stream &stream) {
    return std::string("the ") + stream.name + " stream";
}

} // namespace

std::string attach_failure(const Stream &stream, int error) {
    return attach_failure(what_of(stream), error);
}

Receiver::Receiver(const Stream &stream) : channel_(stream.path, what_of(stream)) {}

Receiver::Outcome Receiver::wait(uint64_t deadline_us, const Interrupt &interrupt) {
    const Outcome outcome = channel_.wait(deadline_us, interrupt);
    if (outcome == Outcome::frame) {
        received_us_ = monotonic_us();
        const std::optional<FrameView> view = view_frame(channel_.frame());
        if (!view) {
            throw Failure(no_video);
        }
        view_ = *view;
    }
    return outcome;
}

bool Receiver::request_key_frame() {
    return channel_.try_send({key_frame_request, sizeof key_frame_request});
}

} // namespace ctl
