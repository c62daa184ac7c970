/*
 * The memory behind one channel, and who has which part of it.
 *
 * The memory is an anonymous memory file of fixed size, allocated in full (a later shortage of memory cannot
 * become a bus error) and sealed: it can neither shrink nor grow, and nobody but this process, which mapped
 * it before it was sealed, can ever map it writable.
 *
 * Blocks tile the memory in address order, and a free block never stands beside another free one. Which is
 * which is known only here, in private memory: receivers can neither see nor damage it. First fit keeps what
 * is in use together at the low end.
 *
 * Threads: none of its own; the channel's lock guards everything (channel.h).
 */
#ifndef SHBF_ARENA_H
#define SHBF_ARENA_H

#include "shbf/wire.h"

namespace shbf {

/* Buffers begin and end at multiples of this: no two share a cache line. */
constexpr uint32_t block_unit = 64;
constexpr uint16_t no_block = 0xffff;

/* One tile of the arena. */
struct Block {
    uint32_t offset;
    uint32_t length;   // bytes, a multiple of block_unit
    uint32_t size;     // valid bytes, at most length
    uint32_t sequence; // which publication of the channel this is; 0: not published yet
    uint32_t sent;     // bit n: receiver n was sent it
    uint32_t holders;  // those of them that have not released it
    uint32_t sent_ms;  // when it was last sent: whoever holds it has had it for so long
    uint16_t previous; // neighbours in address order
    uint16_t next;
    bool used;  // not free
    bool owned; // the application still has its reference
};

struct Arena {
    uint8_t *base;
    uint32_t number; // of the channel's arenas, from 1
    uint32_t size;
    int fd;         // for receivers, cannot be written through; -1: private memory that nobody else ever sees
    uint16_t spare; // blocks that tile nothing at the moment, linked by next
    uint32_t used_bytes;
    uint32_t used_blocks;
    Block blocks[arena_slots]; // blocks[0] is always the first tile
};

/*
 * A new arena with room for `size` bytes (and what rounding up to whole pages adds), shared with receivers or
 * private. Null when memory is short.
 */
Arena *arena_open(uint32_t number, uint32_t size, bool shared);
void arena_close(Arena *arena);

/* A block of at least `size` bytes, used and owned; null when there is no room. */
Block *arena_alloc(Arena *arena, uint32_t size);

/* Gives back the tail behind the first `size` bytes, and makes them the valid ones. `size` <= length. */
void arena_trim(Arena *arena, Block *block, uint32_t size);

/* Frees a used block. */
void arena_free(Arena *arena, Block *block);

/* The longest free run in bytes: the largest buffer that could be allocated now. */
uint32_t arena_room(const Arena *arena);

/* The used block that begins at `address`, or null. */
Block *arena_find(Arena *arena, const void *address);

inline uint16_t block_index(const Arena *arena, const Block *block) {
    return static_cast<uint16_t>(block - arena->blocks);
}

/* On the wire. */
inline uint32_t slot_of(const Arena *arena, uint16_t index) {
    return arena->number % arenas_max * arena_slots + index;
}

} // namespace shbf

#endif
