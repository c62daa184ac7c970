/*
 * What a handle on a loop watches, and what it still has to deliver.
 *
 * Each watch remembers the value it heard of last; that is what a store that comes back is compared with. A
 * delivery belongs to one watch and has a copy of what it says, so that watches registered later do not hear
 * of earlier changes and a callback may do what it likes.
 *
 * Threads: the loop's. Memory: malloc; a call that finds none answers false and leaves all as it was.
 */
#ifndef MORTOX_WATCHES_H
#define MORTOX_WATCHES_H

#include "mortox/response.h"
#include "mortox/wire.h"

#include <stddef.h>
#include <stdint.h>

struct MortoxWatch {
    char name_space[wire::name_max_bytes + 1];
    char section[wire::name_max_bytes + 1];
    char key[wire::name_max_bytes + 1];
    char *value; // the one heard of last; null for none
    mortox_callback_t callback;
    void *user;
};

struct MortoxDelivery {
    MortoxDelivery *next;
    MortoxResponse *response;
    int32_t watch;
    size_t bytes;
};

/* Zeroed at first. Watches are only ever added. */
struct MortoxWatches {
    MortoxWatch *all;
    int32_t count;
    int32_t capacity;
    MortoxDelivery *first;
    MortoxDelivery *last;
    int32_t queued;
    size_t queued_bytes;
};

/*
 * What may wait for the loop to turn, counted with its book-keeping: some 4000 changes of short values. A
 * loop that is busy for longer than that hears of the rest as if the store had been away.
 */
constexpr size_t mortox_queue_max_bytes = size_t{1} << 20;

/* Adds a watch with the names and the present value of `accepted`. Result: its index, or -1. */
int32_t watches_add(MortoxWatches *watches, const wire::Message &accepted, mortox_callback_t callback,
                    void *user);

/* Queues a change for every watch on its key. False when memory is short or the queue is full. */
bool watches_changed(MortoxWatches *watches, const wire::Message &change);

/*
 * Compares what the store has now with what one watch heard of last, and queues an XRESPONSE_RESYNC when it
 * differs. False as above.
 */
bool watches_compare(MortoxWatches *watches, int32_t index, const wire::Message &now);

/* Runs the callback for as many deliveries as are queued now; what callbacks add stays for the next time. */
void watches_deliver(MortoxWatches *watches);

/* Frees everything, undelivered. */
void watches_free(MortoxWatches *watches);

#endif
