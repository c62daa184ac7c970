#include "strellctl/channel.h"

#include "strellctl/clock.h"
#include "strellctl/failure.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>

namespace ctl {

namespace {

constexpr char no_channel[] =
    "what comes on this channel makes no sense: it is served by something else than this version's strell_v2";
constexpr char gone[] = "strell_v2 has ended, or has dropped this receiver: see its log";

int timeout_ms(uint64_t deadline_us) {
    constexpr uint64_t most_ms = 60000;
    const uint64_t now = monotonic_us();
    return deadline_us <= now ? 0 : static_cast<int>(std::min((deadline_us - now + 999) / 1000, most_ms));
}

} // namespace

std::string attach_failure(const std::string &what, int error) {
    switch (error) {
    case ENOENT:
    case ECONNREFUSED:
        return "nobody serves " + what +
               ": start strell_v2 (./dev run), or set STRELL_RUN_DIR to the directory where it runs";
    case ETIMEDOUT:
        return "strell_v2 does not answer: it hangs, or is stopped";
    default:
        return "cannot attach to " + what + ": " + shbf_rcv_problem(error);
    }
}

Channel::Channel(const char *path, const std::string &what) : receiver_(shbf_rcv_open(path, nullptr)) {
    if (receiver_ == nullptr) {
        throw Failure(attach_failure(what, errno));
    }
}

Channel::~Channel() {
    shbf_rcv_close(receiver_);
}

void Channel::release() {
    if (holds_) {
        shbf_rcv_release(receiver_, &held_);
        holds_ = false;
    }
}

Channel::Outcome Channel::wait(uint64_t deadline_us, const Interrupt &interrupt) {
    release();
    while (!interrupt.happened()) {
        shbf_event_t event;
        const int32_t result = shbf_rcv_next(receiver_, &event, 0);
        if (result == 1 && event.kind == SHBF_EVENT_FRAME) {
            held_ = event.frame;
            holds_ = true;
            return Outcome::frame;
        }
        if (result == -EPROTO) {
            throw Failure(no_channel);
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

std::string Channel::copy() const {
    std::string bytes(static_cast<const char *>(held_.data), held_.size);
    if (shbf_rcv_intact(receiver_) == 0) {
        throw Failure("strell_v2 has given this receiver up, because it was stopped for too long");
    }
    return bytes;
}

bool Channel::try_send(std::string_view message) {
    return shbf_rcv_send(receiver_, message.data(), static_cast<uint32_t>(message.size())) == 0;
}

void Channel::send(std::string_view message, uint64_t deadline_us) {
    constexpr int again_ms = 5;
    for (;;) {
        const int32_t result =
            shbf_rcv_send(receiver_, message.data(), static_cast<uint32_t>(message.size()));
        if (result == 0) {
            return;
        }
        if (result != -EAGAIN) {
            throw Failure(result == -EPIPE ? gone : std::string("cannot send: ") + std::strerror(-result));
        }
        if (monotonic_us() >= deadline_us) {
            throw Failure("strell_v2 does not fetch its messages: it hangs, or is stopped");
        }
        poll(nullptr, 0, again_ms);
    }
}

} // namespace ctl
