/*
 * Sound that waits to be played: a ring of 400 messages between those who bring it and the playback thread.
 *
 * Ownership: an item and its bytes, both from malloc, belong to the queue from message_queue_append on, and
 * to whoever has popped them from then on.
 *
 * Life: message_queue_init and message_queue_destroy are the playback thread's. Before the one and after the
 * other there is no lock to take: what is appended then is dropped, and a wake-up does nothing.
 *
 * Threads: message_queue_append any thread; message_queue_wake also a signal handler, at any moment, in the
 * middle of every function here included. The rest is the playback thread's.
 */
#ifndef CONTROL_MESSAGE_QUEUE_H
#define CONTROL_MESSAGE_QUEUE_H

#include <pthread.h>
#include <signal.h>
#include <stdint.h>

/* A piece of sound. */
struct PlayItem {
    void *bytes;
    int32_t length; // of `bytes`
};

constexpr int32_t play_queue_size = 400;

struct PlayQueue {
    PlayItem *items[play_queue_size];
    int32_t tail; // where the next item goes
    int32_t head; // where the oldest is
    int32_t count;
    pthread_mutex_t mutex;
    pthread_cond_t condition;
};

/* All of it but the mutex is guarded by the mutex. */
extern PlayQueue play_queue;

/*
 * The queue's lock, for as long as this lives. Meanwhile the thread takes no signals: the handler that ends
 * the process takes the same lock, and must not interrupt its holder.
 */
class PlayQueueHold {
  public:
    PlayQueueHold();
    ~PlayQueueHold();
    PlayQueueHold(const PlayQueueHold &) = delete;
    PlayQueueHold &operator=(const PlayQueueHold &) = delete;

  private:
    sigset_t signals_before_;
};

/* Makes the queue empty, and its lock. Result: 0. */
int32_t message_queue_init(void);

/* Ends the lock, once nobody is inside any more. Items that are left are forgotten, not freed. */
void message_queue_destroy(void);

/*
 * Appends an item and wakes the playback thread. A full queue is emptied, and the new item goes with the
 * others: sound that late is not worth playing. Result: 0, or -1 when the item was dropped.
 */
int32_t message_queue_append(PlayItem *item);

/* Takes the oldest item out. The caller holds the lock. Result: 0, or -1 when there is none. */
int32_t message_queue_pop(PlayItem **item);

/* Frees all items. The caller holds the lock. */
void message_queue_clear(void);

/* Waits for an append or a wake-up, or for nothing at all. The caller holds the lock, but not meanwhile. */
void message_queue_wait(void);

/* Wakes the playback thread without an item. */
void message_queue_wake(void);

/* Frees an item and its bytes. */
void message_queue_free(PlayItem *item);

#endif
