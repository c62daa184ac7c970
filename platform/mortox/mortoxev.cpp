// The connection of a handle on a loop, and its life: away (a timer counts down to the next try), greeting
// (hello is sent), resyncing (the watches are registered again one after the other, each answer is compared),
// there. A blocking request may be made from resyncing on; what it reads that is not its own answer comes
// here through the message hook, so the steps go on inside it.
//
// Deliveries that are left when a request returns to the loop wait for a timer of 0 s: the loop then turns
// once for its other watchers between one batch and the next, also when each callback writes what it watches.

#include "libmortoxev.h"

#include "export.h"
#include "mortox/handle.h"
#include "mortox/watches.h"

#include <errno.h>
#include <ev.h>
#include <stdlib.h>

namespace {

constexpr int32_t retry_first_ms = 100;
constexpr int32_t retry_longest_ms = 2000;
constexpr int messages_per_turn = 64; // then the loop's other watchers have their turn

struct EvHandle {
    struct ev_loop *loop;
    mortox_t *handle;
    MortoxWatches watches;
    ev_io readable;
    ev_timer retry;
    ev_timer deliver;
    int32_t retry_ms;
    int32_t resynced; // how many watches the store knows again, -1 before it has greeted
    uint32_t awaited; // the number of the hello or watch in progress, 0 when there is none
};

void deliver_soon(EvHandle *ev) {
    if (ev->watches.first != nullptr && !ev_is_active(&ev->deliver)) {
        ev_timer_set(&ev->deliver, 0., 0.);
        ev_timer_start(ev->loop, &ev->deliver);
    }
}

void on_deliver(struct ev_loop * /*loop*/, ev_timer *timer, int /*events*/) {
    auto *ev = static_cast<EvHandle *>(timer->data);
    watches_deliver(&ev->watches);
    deliver_soon(ev);
}

void connected(EvHandle *ev) {
    ev_io_set(&ev->readable, ev->handle->fd, EV_READ);
    ev_io_start(ev->loop, &ev->readable);
}

void lost(void *owner) {
    auto *ev = static_cast<EvHandle *>(owner);
    ev_io_stop(ev->loop, &ev->readable);
    ev->awaited = 0;
    ev->resynced = -1;
    ev_now_update(ev->loop); // a request may have blocked for long
    ev_timer_set(&ev->retry, ev->retry_ms / 1000., 0.);
    ev_timer_start(ev->loop, &ev->retry);
    ev->retry_ms = ev->retry_ms * 2 < retry_longest_ms ? ev->retry_ms * 2 : retry_longest_ms;
}

// Sends the hello or watch that is next, if one is left to send.
void next_step(EvHandle *ev) {
    wire::Message request{};
    if (ev->resynced < 0) {
        request.type = wire::Type::hello;
    } else if (ev->resynced < ev->watches.count) {
        const MortoxWatch &watch = ev->watches.all[ev->resynced];
        request.type = wire::Type::watch;
        request.name_space = watch.name_space;
        request.section = watch.section;
        request.key = watch.key;
    } else {
        ev->awaited = 0;
        return;
    }
    if (mortox_internal_send(ev->handle, &request, &ev->awaited) != 0) {
        mortox_internal_disconnect(ev->handle);
    }
}

// The answer to a step. A store that came back without the namespace keeps the watch waiting for another.
void step_answered(EvHandle *ev, const wire::Message &answer) {
    const bool ok = answer.status == wire::Status::ok;
    if (ev->resynced < 0 && !ok) {
        mortox_internal_disconnect(ev->handle);
        return;
    }
    if (ev->resynced < 0) {
        ev->handle->ready = true;
        ev->retry_ms = retry_first_ms;
    } else if (ok && !watches_compare(&ev->watches, ev->resynced, answer)) {
        mortox_internal_disconnect(ev->handle);
        return;
    }
    ++ev->resynced;
    next_step(ev);
}

void take_message(EvHandle *ev, const wire::Message &message) {
    if (message.type == wire::Type::change) {
        if (!watches_changed(&ev->watches, message)) {
            mortox_internal_disconnect(ev->handle); // what is missed now is made good by comparing
        }
    } else if (message.type == wire::Type::answer && ev->awaited != 0 && message.request == ev->awaited) {
        step_answered(ev, message);
    }
}

void on_message_in_request(void *owner, const wire::Message *message) {
    auto *ev = static_cast<EvHandle *>(owner);
    take_message(ev, *message);
    deliver_soon(ev);
}

int32_t watched(void *owner, const wire::Message *accepted, mortox_callback_t callback, void *user) {
    auto *ev = static_cast<EvHandle *>(owner);
    const int32_t index = watches_add(&ev->watches, *accepted, callback, user);
    return index < 0 ? -1 : index + 1;
}

void on_readable(struct ev_loop * /*loop*/, ev_io *io, int /*events*/) {
    auto *ev = static_cast<EvHandle *>(io->data);
    for (int i = 0; i < messages_per_turn && ev->handle->fd >= 0; ++i) {
        wire::Message message;
        const int received = mortox_internal_receive(ev->handle, &message);
        if (received < 0) {
            mortox_internal_disconnect(ev->handle);
        }
        if (received <= 0) {
            break;
        }
        take_message(ev, message);
    }
    watches_deliver(&ev->watches);
}

void on_retry(struct ev_loop * /*loop*/, ev_timer *timer, int /*events*/) {
    auto *ev = static_cast<EvHandle *>(timer->data);
    if (mortox_internal_connect(ev->handle, 0) != 0) {
        lost(ev);
        return;
    }
    connected(ev);
    next_step(ev);
}

void on_close(void *owner) {
    auto *ev = static_cast<EvHandle *>(owner);
    ev_io_stop(ev->loop, &ev->readable);
    ev_timer_stop(ev->loop, &ev->retry);
    ev_timer_stop(ev->loop, &ev->deliver);
    watches_free(&ev->watches);
    free(ev);
}

const MortoxHooks hooks = {on_message_in_request, lost, watched, on_close};

EvHandle *new_ev_handle(struct ev_loop *loop) {
    auto *ev = static_cast<EvHandle *>(calloc(1, sizeof(EvHandle)));
    if (ev == nullptr) {
        return nullptr;
    }
    ev->handle = mortox_internal_new(&hooks, ev);
    if (ev->handle == nullptr) {
        free(ev);
        return nullptr;
    }
    ev->loop = loop;
    ev->retry_ms = retry_first_ms;
    ev->resynced = -1;
    ev_init(&ev->readable, on_readable);
    ev_init(&ev->retry, on_retry);
    ev_init(&ev->deliver, on_deliver);
    ev->readable.data = ev->retry.data = ev->deliver.data = ev;
    return ev;
}

} // namespace

PLATFORM_API mortox_t *libmortoxev_config_open(struct ev_loop *loop, int32_t /*flags*/) {
    EvHandle *ev = new_ev_handle(loop);
    if (ev == nullptr) {
        errno = ENOMEM;
        return nullptr;
    }
    const int64_t deadline_ms = mortox_internal_now_ms() + mortox_default_timeout_ms;
    if (mortox_internal_connect(ev->handle, deadline_ms) == 0 &&
        mortox_internal_greet(ev->handle, deadline_ms) == 0) {
        ev->resynced = 0;
        connected(ev);
    } else {
        lost(ev);
    }
    return ev->handle;
}

PLATFORM_API void libmortoxev_close(struct ev_loop * /*loop*/, mortox_t *handle) {
    libmortox_close(handle);
}
