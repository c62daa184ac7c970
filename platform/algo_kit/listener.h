/*
 * libalgo_kit's thread, "algo_kit": takes what boardd has detected off an open session and calls back.
 *
 * It blocks all signals but those of a fault of its own, ends when it is stopped or the session fails, and
 * uses nothing that is torn down when the process exits under it.
 *
 * Threads: one call at a time, from any thread but its own.
 */
#ifndef PLATFORM_ALGO_KIT_LISTENER_H
#define PLATFORM_ALGO_KIT_LISTENER_H

#include "algo_kit/session.h"
#include "libalgo_kit.h"

#include <atomic>
#include <pthread.h>

namespace algo_kit {

/* Whom to call; null: what comes is dropped. */
struct Callbacks {
    algo_event_callback_t on_event;
    algo_track_callback_t on_track;
};

struct Listener {
    pthread_mutex_t calling; /* held while a callback runs; guards `callbacks` */
    Callbacks callbacks;
    Session *session;
    int stop; /* an eventfd; -1 while there is no thread */
    pthread_t thread;
    std::atomic<int32_t> failed; /* the session has */
};

/* Whom to call from now on. Waits for a callback that runs: when it has returned, those that were taken away
 * do not run any more. */
void listener_set(Listener &listener, const Callbacks &callbacks);

/* Starts the thread on an open session, which is not closed before listener_stop. False when it cannot. */
bool listener_start(Listener &listener, Session &session);

bool listener_started(const Listener &listener);

/* Waits until the thread has ended. Without one nothing happens. */
void listener_stop(Listener &listener);

} // namespace algo_kit

#endif
