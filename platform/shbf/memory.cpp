#include "shbf/memory.h"

namespace shbf {

namespace {

uint32_t at_least(uint32_t bytes) {
    return bytes < arena_least_bytes ? arena_least_bytes : bytes;
}

void show(Memory *memory, const Arena *arena, uint8_t *base) {
    const uint32_t place = arena->number % arenas_max;
    memory->bytes[place].store(base == nullptr ? 0 : arena->size, std::memory_order_release);
    memory->base[place].store(base, std::memory_order_release);
}

void discard(Memory *memory, Arena *arena) {
    show(memory, arena, nullptr);
    arena_close(arena);
}

bool open_arena(Channel *channel, uint32_t bytes) {
    Memory *memory = &channel->memory;
    // A closed channel hands out memory that nobody else sees.
    Arena *arena = arena_open(memory->last_number + 1, bytes, !channel->closed);
    if (arena == nullptr) {
        return false;
    }
    ++memory->last_number;
    memory->arena = arena;
    show(memory, arena, arena->base);
    return true;
}

/* Stays with the arena that there is, and says false, when memory is short. */
bool replace_arena(Channel *channel, uint32_t bytes) {
    Memory *memory = &channel->memory;
    Arena *before = memory->arena;
    if (memory->retired != nullptr || channel->closed || !open_arena(channel, bytes)) {
        return false;
    }
    memory->retired = before;
    tidy(channel);
    return true;
}

bool is_short(const Channel *channel, uint32_t size) {
    return arena_room(channel->memory.arena) < size || pressure(channel) == Pressure::high;
}

void note_use(Memory *memory, uint32_t size) {
    Usage *usage = &memory->usage;
    const uint32_t in_flight = memory->arena->used_bytes;
    ++usage->allocations;
    usage->largest = size > usage->largest ? size : usage->largest;
    usage->in_flight = in_flight > usage->in_flight ? in_flight : usage->in_flight;
    if (size > memory->largest && size <= memory->full_bytes) {
        memory->largest = size;
    }
}

} // namespace

void fit_arena(Channel *channel, uint32_t size) {
    Memory *memory = &channel->memory;
    if (memory->arena->size < memory->full_bytes && is_short(channel, size)) {
        const bool grown = replace_arena(channel, memory->full_bytes);
        memory->patience *= grown && memory->patience < shrink_after_most ? 2 : 1;
        memory->usage = {};
    } else if (memory->usage.allocations >= memory->patience) {
        const Usage usage = memory->usage;
        memory->usage = {};
        memory->largest = usage.largest < memory->full_bytes ? usage.largest : memory->largest;
        const uint32_t bytes = at_least(2 * memory->largest + 2 * usage.in_flight);
        if (bytes <= memory->arena->size / 4 * 3) {
            replace_arena(channel, bytes);
        }
    }
}

Pressure pressure(const Channel *channel) {
    const uint64_t room = arena_room(channel->memory.arena);
    const uint64_t largest = channel->memory.largest;
    return room >= 2 * largest ? Pressure::none : 2 * room >= 3 * largest ? Pressure::some : Pressure::high;
}

bool provide_arena(Channel *channel, uint32_t size) {
    Memory *memory = &channel->memory;
    if (memory->arena == nullptr) {
        memory->full_bytes = at_least(size * arena_buffers);
        memory->patience = shrink_after;
        if (!open_arena(channel, memory->full_bytes)) {
            return false;
        }
    }
    note_use(memory, size);
    fit_arena(channel, size);
    return true;
}

/* A closed channel keeps an arena only as long as the application owns a buffer of it. */
void tidy(Channel *channel) {
    Memory *memory = &channel->memory;
    if (memory->retired != nullptr && memory->retired->used_blocks == 0) {
        discard(memory, memory->retired);
        memory->retired = nullptr;
    }
    if (channel->closed && memory->arena != nullptr && memory->arena->used_blocks == 0) {
        discard(memory, memory->arena);
        memory->arena = nullptr;
    }
}

Place owned_place(const Channel *channel, const void *buffer) {
    Place place = {nullptr, nullptr};
    each_arena(channel, [&](Arena *arena) {
        Block *block = arena_find(arena, buffer);
        if (block != nullptr && block->owned) {
            place = {arena, block};
        }
    });
    return place;
}

} // namespace shbf
