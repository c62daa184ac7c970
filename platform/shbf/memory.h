/*
 * The memory of a channel: one arena, and for a while the one before it. Internal to libshbf; all under the
 * channel's lock.
 *
 * The first arena has room for four of the first buffer. A producer that does not know how large a frame will
 * be asks for the largest, so most of that is never touched; when a channel has needed much less for long
 * (the camera's profile has become smaller), an arena takes its place that has room for two of the largest
 * and twice what was in flight. When that one is short, a full one follows at once.
 *
 * A buffer stays where it is. So the arena before is kept until its last buffer is free, and until then there
 * is no third. Receivers are sent the new one before the first frame in it.
 */
#ifndef SHBF_MEMORY_H
#define SHBF_MEMORY_H

#include "shbf/channel.h"

namespace shbf {

constexpr uint32_t arena_buffers = 4;
constexpr uint32_t arena_least_bytes = 65536;
/* So many allocations in which little was needed, before an arena is replaced by a smaller one: 17 s of video
 * at 15 frames a second. */
constexpr uint32_t shrink_after = 256;
/* Each time that it was a mistake, twice as many, up to this: 19 hours. A receiver that keeps the arenas it
 * was sent keeps their memory, too, so nobody should be able to make the channel produce one after the other.
 */
constexpr uint32_t shrink_after_most = 1u << 20;

enum class Pressure { none, some, high };

/* By how many of the largest buffers still fit. */
Pressure pressure(const Channel *channel);

/* Before `size` bytes are allocated, and after what was released has been taken back: makes the arena, or
 * another one if it is no longer the right one. False when there is none: memory is short. */
bool provide_arena(Channel *channel, uint32_t size);

/* What provide_arena does last, for when there has been room made: grows at once, shrinks after long. */
void fit_arena(Channel *channel, uint32_t size);

/* Closes arenas that are not needed any more. */
void tidy(Channel *channel);

/* Calls `visit` with each arena. */
template <typename Visit>
void each_arena(const Channel *channel, Visit visit) {
    Arena *arenas[] = {channel->memory.arena, channel->memory.retired};
    for (Arena *arena : arenas) {
        if (arena != nullptr) {
            visit(arena);
        }
    }
}

/* Where a buffer is that the application owns; both null when it is none. */
struct Place {
    Arena *arena;
    Block *block;
};
Place owned_place(const Channel *channel, const void *buffer);

} // namespace shbf

#endif
