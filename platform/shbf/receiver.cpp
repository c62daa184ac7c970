// The blocking receiver.

#include "shbf/link.h"

#include <errno.h>
#include <limits.h>
#include <poll.h>
#include <stdlib.h>
#include <time.h>

using namespace shbf;

struct shbf_rcv {
    Link link;
};

namespace {

constexpr int attach_timeout_default_ms = 2000;
/* So many packets in a row that are neither frame nor message, and it is time to look at the clock. */
constexpr uint32_t idle_rounds_most = 64;
static_assert(SHBF_HOLD_LIMIT_MS == hold_limit_ms);

int64_t now_ms() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

/* Waits until `fd` is readable: 1, 0 when `deadline_ms` has passed, or a negative errno value. */
int wait_readable(int fd, int64_t deadline_ms) {
    const int64_t left = deadline_ms - now_ms();
    pollfd poller = {fd, POLLIN, 0};
    const int ready = poll(&poller, 1, left > 0 ? static_cast<int>(left) : 0);
    return ready < 0 ? -errno : ready;
}

int attach(Link *link, const char *path, uint32_t window, int timeout_ms) {
    const int64_t deadline_ms = now_ms() + timeout_ms;
    int result = shbf_link_open(link, path, Role::receiver, window, timeout_ms);
    while (result == 0 && !link->attached) {
        result = wait_readable(link->fd, deadline_ms);
        if (result == 0) {
            return -ETIMEDOUT;
        }
        if (result > 0) {
            shbf_event_t unexpected;
            result = shbf_link_look(link, &unexpected);
        }
        if (result == -EINTR || result == -EAGAIN) {
            result = 0;
        }
    }
    return result > 0 ? -EPROTO : result;
}

} // namespace

PLATFORM_API shbf_rcv_t *shbf_rcv_open(const char *path, const shbf_rcv_options_t *options) {
    shbf_rcv_t *receiver = static_cast<shbf_rcv_t *>(calloc(1, sizeof(shbf_rcv_t)));
    if (receiver == nullptr) {
        return nullptr;
    }
    const uint32_t timeout_ms = options == nullptr ? 0 : options->attach_timeout_ms;
    const int result = attach(&receiver->link, path, options == nullptr ? 0 : options->window,
                              timeout_ms == 0        ? attach_timeout_default_ms
                              : timeout_ms > INT_MAX ? INT_MAX
                                                     : static_cast<int>(timeout_ms));
    if (result < 0) {
        shbf_link_close(&receiver->link);
        free(receiver);
        errno = -result;
        return nullptr;
    }
    return receiver;
}

PLATFORM_API int32_t shbf_rcv_fd(const shbf_rcv_t *receiver) {
    return receiver->link.fd;
}

// One system call for each frame that is waited for, none for one that is there.
PLATFORM_API int32_t shbf_rcv_next(shbf_rcv_t *receiver, shbf_event_t *event, int32_t timeout_ms) {
    Link *link = &receiver->link;
    const int64_t deadline_ms = timeout_ms <= 0 ? 0 : now_ms() + timeout_ms;
    int result = 0;
    for (uint32_t rounds = 1; result == 0; ++rounds) {
        if (rounds % idle_rounds_most == 0 && timeout_ms >= 0 && now_ms() >= deadline_ms) {
            return 0; // the descriptor is readable still
        }
        result = shbf_link_take(link, event);
        if (result != -EAGAIN) {
            continue;
        }
        if (timeout_ms == 0) {
            result = shbf_link_look(link, event);
            if (result == -EAGAIN) {
                return 0;
            }
            continue;
        }
        const int64_t left_ms = timeout_ms < 0 ? -1 : deadline_ms - now_ms();
        result = timeout_ms > 0 && left_ms < 0 ? -ETIMEDOUT : shbf_link_sleep(link, left_ms);
        if (result == -ETIMEDOUT) {
            return 0;
        }
    }
    return result;
}

PLATFORM_API int32_t shbf_rcv_intact(const shbf_rcv_t *receiver) {
    return shbf_link_intact(&receiver->link) ? 1 : 0;
}

PLATFORM_API void shbf_rcv_release(shbf_rcv_t *receiver, const shbf_frame_t *frame) {
    shbf_link_release(&receiver->link, frame);
}

PLATFORM_API int32_t shbf_rcv_send(shbf_rcv_t *receiver, const void *bytes, uint32_t length) {
    return shbf_link_send(&receiver->link, bytes, length);
}

PLATFORM_API void shbf_rcv_close(shbf_rcv_t *receiver) {
    if (receiver != nullptr) {
        shbf_link_close(&receiver->link);
        free(receiver);
    }
}
