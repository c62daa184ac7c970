// The receiver on a libev loop. One packet a turn: the loop says again what else there is, and a busy channel
// cannot keep the loop from its other watchers.

#include "shbf/link.h"

#include <errno.h>
#include <ev.h>
#include <stdlib.h>

using namespace shbf;

struct shbfev_rcv {
    Link link;
    struct ev_loop *loop;
    ev_io io;
    ev_timer attach_timeout;
    shbfev_rcv_callbacks_t callbacks;
    void *user;
};

namespace {

constexpr uint32_t attach_timeout_default_ms = 2000;

void stop(shbfev_rcv_t *receiver) {
    ev_io_stop(receiver->loop, &receiver->io);
    ev_timer_stop(receiver->loop, &receiver->attach_timeout);
}

/* The last thing that is done with the receiver: the callback may close it. */
void end(shbfev_rcv_t *receiver, int reason) {
    stop(receiver);
    if (receiver->callbacks.closed != nullptr) {
        receiver->callbacks.closed(receiver->user, receiver, reason);
    }
}

/* Nothing may touch the receiver after its callback, for the same reason. */
void tell(shbfev_rcv_t *receiver, const shbf_event_t &event) {
    if (event.kind == SHBF_EVENT_MESSAGE) {
        if (receiver->callbacks.message != nullptr) {
            receiver->callbacks.message(receiver->user, receiver, event.message.bytes, event.message.length);
        }
    } else if (receiver->callbacks.frame != nullptr) {
        receiver->callbacks.frame(receiver->user, receiver, &event.frame);
    } else {
        shbf_link_release(&receiver->link, &event.frame);
    }
}

void on_readable(struct ev_loop *loop, ev_io *watcher, int /*revents*/) {
    shbfev_rcv_t *receiver = static_cast<shbfev_rcv_t *>(watcher->data);
    const bool was_attached = receiver->link.attached;
    shbf_event_t event;
    const int result = shbf_link_receive(&receiver->link, &event, false);
    if (result == -EAGAIN || result == -EINTR) {
        return;
    }
    if (result < 0) {
        end(receiver, result);
    } else if (result > 0) {
        tell(receiver, event);
    } else if (!was_attached && receiver->link.attached) {
        ev_timer_stop(loop, &receiver->attach_timeout);
        if (receiver->callbacks.attached != nullptr) {
            receiver->callbacks.attached(receiver->user, receiver);
        }
    }
}

void on_attach_timeout(struct ev_loop * /*loop*/, ev_timer *watcher, int /*revents*/) {
    end(static_cast<shbfev_rcv_t *>(watcher->data), -ETIMEDOUT);
}

} // namespace

PLATFORM_API shbfev_rcv_t *shbfev_rcv_open(struct ev_loop *loop, const char *path,
                                           const shbf_rcv_options_t *options,
                                           const shbfev_rcv_callbacks_t *callbacks, void *user) {
    shbfev_rcv_t *receiver = static_cast<shbfev_rcv_t *>(calloc(1, sizeof(shbfev_rcv_t)));
    if (receiver == nullptr) {
        return nullptr;
    }
    const int result =
        shbf_link_open(&receiver->link, path, Role::receiver, options == nullptr ? 0 : options->window, 0);
    if (result < 0) {
        shbf_link_close(&receiver->link);
        free(receiver);
        errno = -result;
        return nullptr;
    }
    receiver->loop = loop;
    receiver->callbacks = *callbacks;
    receiver->user = user;
    uint32_t timeout_ms = options == nullptr ? 0 : options->attach_timeout_ms;
    timeout_ms = timeout_ms == 0 ? attach_timeout_default_ms : timeout_ms;
    ev_io_init(&receiver->io, on_readable, receiver->link.fd, EV_READ);
    ev_timer_init(&receiver->attach_timeout, on_attach_timeout, static_cast<ev_tstamp>(timeout_ms) / 1000.0,
                  0.0);
    receiver->io.data = receiver->attach_timeout.data = receiver;
    ev_io_start(loop, &receiver->io);
    ev_timer_start(loop, &receiver->attach_timeout);
    return receiver;
}

PLATFORM_API int32_t shbfev_rcv_intact(const shbfev_rcv_t *receiver) {
    return shbf_link_intact(&receiver->link) ? 1 : 0;
}

PLATFORM_API void shbfev_rcv_release(shbfev_rcv_t *receiver, const shbf_frame_t *frame) {
    shbf_link_release(&receiver->link, frame);
}

PLATFORM_API int32_t shbfev_rcv_send(shbfev_rcv_t *receiver, const void *bytes, uint32_t length) {
    return shbf_link_send(&receiver->link, bytes, length);
}

PLATFORM_API void shbfev_rcv_close(shbfev_rcv_t *receiver) {
    if (receiver != nullptr) {
        stop(receiver);
        shbf_link_close(&receiver->link);
        free(receiver);
    }
}
