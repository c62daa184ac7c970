#include "strellctl/receiver.h"

#include "strellctl/clock.h"
#include "strellctl/failure.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>

namespace ctl {

namespace {

constexpr char key_frame_request[] = "REQ_IDR"; // sent with its NUL
constexpr char no_video[] =
    "what comes on this channel is no video frame: the channel is served by something "
    "else than this version's strell_v2";

int timeout_ms(uint64_t deadline_us) {
    constexpr uint64_t most_ms = 60000;
    const uint64_t now = monotonic_us();
    return deadline_us <= now ? 0 : static_cast<int>(std::min((deadline_us - now + 999) / 1000, most_ms));
}

} // namespace

std::string attach_failure(const Stream &stream, int error) {
    const std::string name = stream.name;
    switch (error) {
    case ENOENT:
    case ECONNREFUSED:
        return "nobody serves the " + name +
               " stream: start strell_v2 (./dev run), or set STRELL_RUN_DIR to the directory where it runs";
    case ENOSPC:
        return "the " + name + " stream has all the receivers it takes: end one of them";
    case ETIMEDOUT:
        return "strell_v2 does not answer: it hangs, or is stopped";
    case EACCES:
        return "this user may not attach to the " + name + " stream: become the user that strell_v2 runs as";
    default:
        return "cannot attach to the " + name + " stream: " + std::strerror(error);
    }
}

Receiver::Receiver(const Stream &stream) : receiver_(shbf_rcv_open(stream.path, nullptr)) {
    if (receiver_ == nullptr) {
        throw Failure(attach_failure(stream, errno));
    }
}

Receiver::~Receiver() {
    shbf_rcv_close(receiver_);
}

void Receiver::release() {
    if (holds_) {
        shbf_rcv_release(receiver_, &held_);
        holds_ = false;
    }
}

Receiver::Outcome Receiver::take(const shbf_event_t &event) {
    received_us_ = monotonic_us();
    held_ = event.frame;
    holds_ = true;
    const std::optional<FrameView> view = view_frame(held_);
    if (!view) {
        throw Failure(no_video);
    }
    view_ = *view;
    return Outcome::frame;
}

Receiver::Outcome Receiver::wait(uint64_t deadline_us, const Interrupt &interrupt) {
    release();
    while (!interrupt.happened()) {
        shbf_event_t event;
        const int32_t result = shbf_rcv_next(receiver_, &event, 0);
        if (result == 1 && event.kind == SHBF_EVENT_FRAME) {
            return take(event);
        }
        if (result == -EPROTO) {
            throw Failure(no_video);
        }
        if (result < 0 && result != -EINTR) {
            return Outcome::gone;
        }
        if (monotonic_us() >= deadline_us) {
            return Outcome::time_is_up;
        }
        if (result == 0) {
            pollfd entries[] = {{shbf_rcv_fd(receiver_), POLLIN, 0}, {interrupt.fd(), POLLIN, 0}};
            poll(entries, std::size(entries), timeout_ms(deadline_us));
        }
    }
    return Outcome::interrupted;
}

bool Receiver::request_key_frame() {
    return shbf_rcv_send(receiver_, key_frame_request, sizeof key_frame_request) == 0;
}

} // namespace ctl
