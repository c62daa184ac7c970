// The signal handler wakes the playback thread with the queue's lock and condition, which no handler should
// touch. It may, for three reasons:
//   - whoever holds the lock has all signals of its thread blocked, so the handler never runs inside the lock
//     of its own thread: on another thread it waits for as long as a few words take to be written. A thread
//     that is in pthread_cond_wait is part of that: it returns with the lock. A fault inside the lock ends
//     the process without the handler, which is better than a handler that waits for itself;
//   - the handler blocks signals in the same way, so a second signal cannot interrupt it inside the lock;
//   - before there is a lock, and when there is one no more, the gate is shut and the handler goes by.
// The process's signal mask is never changed beyond that.

#include "control/message_queue.h"

#include "libvuto_util.h"

#include <atomic>
#include <sched.h>
#include <stdlib.h>

PlayQueue play_queue;

namespace {

// Each side first writes its own word and then reads the other's, in one total order: so either who enters
// sees the gate shut, or who shuts it sees somebody inside.
std::atomic<int32_t> gate_open{0};
std::atomic<int32_t> inside{0};

/* For threads other than the queue's owner: true when the lock exists, and keeps existing until leave(). */
bool enter() {
    inside.fetch_add(1);
    if (gate_open.load() != 0) {
        return true;
    }
    inside.fetch_sub(1);
    return false;
}

void leave() {
    inside.fetch_sub(1);
}

void reset_items() {
    for (PlayItem *&item : play_queue.items) {
        item = nullptr;
    }
}

int32_t next(int32_t position) {
    return (position + 1) % play_queue_size;
}

/* Under the lock. */
int32_t put(PlayItem *item) {
    if (play_queue.count >= play_queue_size) {
        log_warning("%s(),queue is full, clear it\n", "message_queue_append");
        message_queue_clear();
        message_queue_free(item);
        return -1;
    }
    play_queue.items[play_queue.tail] = item;
    play_queue.tail = next(play_queue.tail);
    ++play_queue.count;
    return 0;
}

} // namespace

PlayQueueHold::PlayQueueHold() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &signals_before_);
    pthread_mutex_lock(&play_queue.mutex);
}

PlayQueueHold::~PlayQueueHold() {
    pthread_mutex_unlock(&play_queue.mutex);
    pthread_sigmask(SIG_SETMASK, &signals_before_, nullptr);
}

int32_t message_queue_init(void) {
    play_queue.tail = 0;
    play_queue.head = 0;
    play_queue.count = 0;
    reset_items();
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_NORMAL);
    pthread_mutex_init(&play_queue.mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    pthread_cond_init(&play_queue.condition, nullptr);
    gate_open.store(1);
    return 0;
}

void message_queue_destroy(void) {
    gate_open.store(0);
    while (inside.load() != 0) {
        sched_yield();
    }
    reset_items();
    pthread_mutex_destroy(&play_queue.mutex);
    pthread_cond_destroy(&play_queue.condition);
}

int32_t message_queue_append(PlayItem *item) {
    if (!enter()) {
        message_queue_free(item);
        return -1;
    }
    int32_t result = 0;
    {
        const PlayQueueHold hold;
        result = put(item);
        pthread_cond_signal(&play_queue.condition);
    }
    leave();
    return result;
}

int32_t message_queue_pop(PlayItem **item) {
    if (play_queue.count < 1) {
        return -1;
    }
    *item = play_queue.items[play_queue.head];
    play_queue.head = next(play_queue.head);
    --play_queue.count;
    return 0;
}

void message_queue_clear(void) {
    PlayItem *item = nullptr;
    for (int32_t i = 0; i < play_queue_size && message_queue_pop(&item) == 0; ++i) {
        message_queue_free(item);
    }
}

void message_queue_wait(void) {
    pthread_cond_wait(&play_queue.condition, &play_queue.mutex);
}

void message_queue_wake(void) {
    if (!enter()) {
        return;
    }
    {
        const PlayQueueHold hold;
        pthread_cond_signal(&play_queue.condition);
    }
    leave();
}

void message_queue_free(PlayItem *item) {
    free(item->bytes);
    free(item);
}
