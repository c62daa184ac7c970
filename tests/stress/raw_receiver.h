/*
 * A receiver without the library: attaches by hand, and may then do with the socket, the link page and the
 * arena whatever the system lets it.
 *
 * Threads: one. A process of its own, which is going to be killed: nothing is given back on the way.
 */
#ifndef STRESS_RAW_RECEIVER_H
#define STRESS_RAW_RECEIVER_H

#include "shbf/wire.h"

#include <cstddef>

namespace stress {

struct RawReceiver {
    int fd = -1;
    int page_fd = -1;
    int arena_fd = -1; // -1: the channel had none when it attached
    int bell_fd = -1;  // as well
    shbf::LinkPage *page = nullptr;
    const uint8_t *arena = nullptr;
    const shbf::Bell *bell = nullptr;
    uint32_t arena_bytes = 0;
    uint32_t index = 0;

    /* As a number of words that may be written to. */
    shbf::Word *words() const { return page->released; }
    static constexpr uint32_t word_count = shbf::link_page_bytes / sizeof(shbf::Word);
};

/* A connection that has not said anything; -1 when there is none to be had. */
int connect_raw(const char *path);

/* False when the channel cannot be attached to at the moment. */
bool attach_raw(const char *path, uint32_t window, RawReceiver *receiver);

void detach_raw(RawReceiver *receiver);

/* Sends `length` bytes with `count` descriptors, without waiting. False when they were not taken. */
bool send_raw(int fd, const void *bytes, size_t length, const int *descriptors, size_t count);

} // namespace stress

#endif
