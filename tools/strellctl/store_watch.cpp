#include "strellctl/store_watch.h"

#include "libmortoxev.h"
#include "strellctl/failure.h"
#include "strellctl/store.h"

#include <ev.h>
#include <utility>

namespace ctl {

namespace {

constexpr int32_t default_timeout = -1;

} // namespace

StoreWatch::StoreWatch(Changed changed) : changed_(std::move(changed)) {
    const Store probe; // says in a sentence when nobody is there; the handle below would wait for it silently
    loop_ = ev_loop_new(EVFLAG_AUTO);
    handle_ = libmortoxev_config_open(loop_, 0);
}

StoreWatch::~StoreWatch() {
    libmortoxev_close(loop_, handle_);
    ev_loop_destroy(loop_);
}

void StoreWatch::add(const SettingName &name) {
    if (!libmortox_register_notification(handle_, name.name_space.c_str(), name.section.c_str(),
                                         name.key.c_str(), nullptr, on_change, this, default_timeout, 0)) {
        throw Failure("cannot watch " + full_text(name) + ": " + libmortox_last_error(handle_));
    }
}

void StoreWatch::set(const SettingName &name, const std::string &value) {
    if (!libmortox_set_value(handle_, name.name_space.c_str(), name.section.c_str(), name.key.c_str(),
                             XDATA_TEXT, value.c_str(), nullptr, nullptr, default_timeout, 0)) {
        throw Failure("cannot store " + full_text(name) + ": " + libmortox_last_error(handle_));
    }
}

/* An exception must not pass through the library and the loop, which are C. */
void StoreWatch::on_change(xresponse_t *response, void *user) {
    auto *self = static_cast<StoreWatch *>(user);
    int32_t status = -1;
    auto *pair = static_cast<NotifyPair *>(xresponse_parse(response, &status));
    if (status != 0 || self->failure_) {
        return;
    }
    try {
        self->changed_({pair->key->name_space, pair->key->section, pair->key->key}, text_of(pair->value));
    } catch (...) {
        self->failure_ = std::current_exception();
        self->end_with(End::stopped);
    }
    xpair_free(pair, 0);
}

void StoreWatch::end_with(End end) {
    end_ = end;
    ev_break(loop_, EVBREAK_ALL);
}

StoreWatch::End StoreWatch::run(const Interrupt &interrupt, double timeout_s) {
    ev_io interrupted;
    ev_io_init(
        &interrupted,
        [](struct ev_loop *, ev_io *watcher, int) {
            static_cast<StoreWatch *>(watcher->data)->end_with(End::interrupted);
        },
        interrupt.fd(), EV_READ);
    interrupted.data = this;
    ev_io_start(loop_, &interrupted);
    ev_timer timer;
    ev_timer_init(
        &timer,
        [](struct ev_loop *, ev_timer *watcher, int) {
            static_cast<StoreWatch *>(watcher->data)->end_with(End::time_is_up);
        },
        timeout_s, 0);
    timer.data = this;
    if (timeout_s > 0) {
        ev_timer_start(loop_, &timer);
    }
    ev_run(loop_, 0);
    ev_timer_stop(loop_, &timer);
    ev_io_stop(loop_, &interrupted);
    if (failure_) {
        std::rethrow_exception(failure_);
    }
    return end_;
}

} // namespace ctl
