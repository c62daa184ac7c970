// The receiver on a libev loop. So much a turn and no more: a busy channel cannot keep the loop from its
// other watchers. The socket says nothing of frames that it has left, so a timer calls again.

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
    ev_timer again;
    shbfev_rcv_callbacks_t callbacks;
    void *user;
    bool *closed; // set when a callback of a turn closes it; null outside of one
};

namespace {

constexpr uint32_t attach_timeout_default_ms = 2000;
constexpr int events_per_turn = 16;

void stop(shbfev_rcv_t *receiver) {
    ev_io_stop(receiver->loop, &receiver->io);
    ev_timer_stop(receiver->loop, &receiver->attach_timeout);
    ev_timer_stop(receiver->loop, &receiver->again);
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

/* One event, if there is one. False when there is none, or nothing will come any more. */
bool serve_one(shbfev_rcv_t *receiver) {
    const bool was_attached = receiver->link.attached;
    shbf_event_t event;
    int result = shbf_link_take(&receiver->link, &event);
    if (result == -EAGAIN) {
        result = shbf_link_look(&receiver->link, &event);
    }
    if (result == -EAGAIN || result == -EINTR) {
        return false;
    }
    if (result < 0) {
        end(receiver, result);
        return false;
    }
    if (result > 0) {
        tell(receiver, event);
    } else if (!was_attached && receiver->link.attached) {
        ev_timer_stop(receiver->loop, &receiver->attach_timeout);
        if (receiver->callbacks.attached != nullptr) {
            receiver->callbacks.attached(receiver->user, receiver);
        }
    }
    return true;
}

void serve(shbfev_rcv_t *receiver) {
    bool closed = false;
    receiver->closed = &closed;
    int served = 0;
    while (served < events_per_turn && serve_one(receiver) && !closed) {
        ++served;
    }
    if (closed) {
        return;
    }
    receiver->closed = nullptr;
    if (served == events_per_turn && !ev_is_active(&receiver->again)) {
        ev_timer_set(&receiver->again, 0.0, 0.0);
        ev_timer_start(receiver->loop, &receiver->again);
    }
}

void on_readable(struct ev_loop * /*loop*/, ev_io *watcher, int /*revents*/) {
    serve(static_cast<shbfev_rcv_t *>(watcher->data));
}

void on_again(struct ev_loop * /*loop*/, ev_timer *watcher, int /*revents*/) {
    serve(static_cast<shbfev_rcv_t *>(watcher->data));
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
    ev_timer_init(&receiver->again, on_again, 0.0, 0.0);
    receiver->io.data = receiver->attach_timeout.data = receiver->again.data = receiver;
    ev_io_start(loop, &receiver->io);
    ev_now_update(loop); // the time-out counts from now, not from when the loop last looked at the clock
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
        if (receiver->closed != nullptr) {
            *receiver->closed = true;
        }
        stop(receiver);
        shbf_link_close(&receiver->link);
        free(receiver);
    }
}
