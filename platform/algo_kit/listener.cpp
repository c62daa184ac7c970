#include "algo_kit/listener.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace algo_kit {

namespace {

void call_back(Listener &listener, const Detection &detection) {
    pthread_mutex_lock(&listener.calling);
    const Callbacks &callbacks = listener.callbacks;
    if (detection.what == board::algo_event && callbacks.on_event != nullptr) {
        callbacks.on_event(detection.text.bytes, detection.text.length);
    } else if (detection.what == board::algo_direction && callbacks.on_track != nullptr) {
        callbacks.on_track(&detection.direction, sizeof detection.direction);
    }
    pthread_mutex_unlock(&listener.calling);
}

/* True until the session has failed. */
bool take_all(Listener &listener) {
    for (;;) {
        Detection detection;
        const Taken taken = session_take(*listener.session, &detection);
        if (taken == Taken::nothing || taken == Taken::failed) {
            return taken == Taken::nothing;
        }
        if (taken == Taken::detection) {
            call_back(listener, detection);
        }
        uint64_t stopped = 0;
        if (eventfd_read(listener.stop, &stopped) == 0) {
            eventfd_write(listener.stop, stopped); // for the loop below
            return true;
        }
    }
}

void *listen(void *user) {
    Listener &listener = *static_cast<Listener *>(user);
    prctl(PR_SET_NAME, "algo_kit");
    for (;;) {
        pollfd entries[] = {{listener.stop, POLLIN, 0},
                            {shbf_rcv_fd(listener.session->receiver), POLLIN, 0},
                            {listener.session->control, POLLRDHUP, 0}}; // its replies are others' to read
        if (poll(entries, 3, -1) < 0) {
            continue;
        }
        if (entries[0].revents != 0) {
            return nullptr;
        }
        if (entries[2].revents != 0 || !take_all(listener)) {
            listener.failed.store(1);
            return nullptr;
        }
    }
}

} // namespace

void listener_set(Listener &listener, const Callbacks &callbacks) {
    pthread_mutex_lock(&listener.calling);
    listener.callbacks = callbacks;
    pthread_mutex_unlock(&listener.calling);
}

bool listener_start(Listener &listener, Session &session) {
    listener.session = &session;
    listener.failed.store(0);
    listener.stop = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (listener.stop < 0) {
        listener.stop = -1;
        return false;
    }
    // A fault of the thread's own is the process's to handle; blocked, it would end the process unseen.
    sigset_t blocked;
    sigset_t before;
    sigfillset(&blocked);
    constexpr int faults[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};
    for (const int fault : faults) {
        sigdelset(&blocked, fault);
    }
    pthread_sigmask(SIG_SETMASK, &blocked, &before);
    const int created = pthread_create(&listener.thread, nullptr, listen, &listener);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (created != 0) {
        close(listener.stop);
        listener.stop = -1;
    }
    return created == 0;
}

bool listener_started(const Listener &listener) {
    return listener.stop >= 0;
}

void listener_stop(Listener &listener) {
    if (listener.stop < 0) {
        return;
    }
    eventfd_write(listener.stop, 1);
    pthread_join(listener.thread, nullptr);
    close(listener.stop);
    listener.stop = -1;
}

} // namespace algo_kit
