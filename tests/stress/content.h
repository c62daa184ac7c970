/*
 * What the frames and messages of channel_stress contain: a head that tells where it stands among all that
 * its producer sends, a pattern that follows from the head, and a check of the head at the end. Whoever gets
 * one can tell whether it is whole, and whether something before it is missing.
 *
 * Threads: any.
 */
#ifndef STRESS_CONTENT_H
#define STRESS_CONTENT_H

#include "scoreboard.h"

#include <cstddef>

namespace stress {

enum class Content : uint32_t {
    broadcast = 1,
    direct = 2,  // a frame for one receiver
    account = 3, // a frame that says how much each witness was sent up to now
    message = 4, // a message to all
};

constexpr uint32_t nobody = 0xffff;

struct Head {
    Content content;
    uint32_t size; // of the whole frame or message
    uint32_t channel;
    uint32_t producer;
    uint32_t target;   // the witness that a direct one is for, or nobody
    uint32_t number;   // counts those of the same content, producer and target, from 1
    uint32_t frames;   // broadcasts of the same producer before it
    uint32_t messages; // messages of the same producer before it
    uint64_t generation;
    uint64_t published_ns;
    uint64_t expected[witnesses]; // account: frames and messages meant for each before this one
};

constexpr uint32_t content_least = sizeof(Head) + sizeof(uint64_t);

/* Writes head, pattern and check to `head.size` bytes, at least content_least. */
void fill(void *bytes, const Head &head);

/* Are these `size` bytes what fill made of *head? Sets *head in any case, when there is room for one. */
bool whole(const void *bytes, size_t size, Head *head);

} // namespace stress

#endif
