/*
 * Who holds which part of a channel's arena, and who may have more. Internal to libshbf; all under the
 * channel's lock.
 *
 * A block of the arena is free, or used. A used block is kept by the application's reference (`owned`) and by
 * the receivers that have been sent it and have not released it (`holders`). It becomes free when both are
 * gone. The application lets go with shbf_free or by broadcasting. A receiver lets go by writing the block's
 * sequence to the block's word of its release table, which is looked at when it matters (reap: before
 * allocating and publishing); or by detaching or dying, which clears its bit everywhere (take_back, forget);
 * or it is given up, when it sits on memory that others need (give_up_idle). Either way its link page
 * tells it first that its frames are no longer its own. Sequences begin again after 2^32 publications only
 * (3 years of sound), so an old word in a table matches nothing.
 */
#ifndef SHBF_HOLDING_H
#define SHBF_HOLDING_H

#include "shbf/memory.h"
#include "shbf/turn.h"

namespace shbf {

inline bool was_sent(const Receiver *receiver, const Block *block) {
    return (block->sent >> receiver->index & 1) != 0;
}

/* A packet has been sent to `receiver`, which may count on it. The frames behind it have said so since it was
 * begun: threads may book their packets in another order than they have sent them. */
inline void count_packet(Receiver *receiver) {
    ++receiver->packets;
    receiver->page->packets.store(receiver->packets, std::memory_order_release);
}

/* `receiver` has been sent `block`, and holds it. */
void hold(Receiver *receiver, Block *block);

/* Frees the block when nobody keeps it. */
void free_if_unused(Arena *arena, Block *block);

/* Takes back what receivers have released. */
void reap(Channel *channel);

/* May `receiver` be sent one more buffer? */
bool admits(const Channel *channel, const Receiver *receiver);

/* `receiver` misses something. */
void skip(Channel *channel, Receiver *receiver, Turn *turn);

/* Hands it the bell and `arena`, unless it has them. False when its socket takes nothing now. */
bool send_arena(const Channel *channel, const Arena *arena, Receiver *receiver);

/* Takes away all that the receiver holds, and tells it first. */
void take_back(Channel *channel, Receiver *receiver);

/* The next receiver of this index has been sent nothing yet. */
void forget(Channel *channel, const Receiver *receiver);

/* When the arena is smaller than it may be, and too small for another `size` bytes or for what receivers
 * hold: a full one takes its place. Who has held the arena before for too long is given up for it. */
void grow_if_short(Channel *channel, uint32_t size, Turn *turn);

/* While memory is short: gives up receivers that keep theirs for too long. */
void give_up_idle(Channel *channel, Turn *turn);

} // namespace shbf

#endif
