#include "shbf/arena.h"

#include "shbf/memory_file.h"

#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

namespace shbf {

namespace {

uint32_t round_up(uint32_t value, uint32_t unit) {
    return (value + unit - 1) / unit * unit;
}

uint16_t take_spare(Arena *arena) {
    const uint16_t index = arena->spare;
    if (index != no_block) {
        arena->spare = arena->blocks[index].next;
    }
    return index;
}

void give_spare(Arena *arena, uint16_t index) {
    arena->blocks[index].next = arena->spare;
    arena->spare = index;
}

/* Cuts `block` after `length` bytes; what is behind becomes a free block. False when no block is spare. */
bool split(Arena *arena, Block *block, uint32_t length) {
    const uint16_t index = take_spare(arena);
    if (index == no_block) {
        return false;
    }
    Block *tail = &arena->blocks[index];
    *tail = {};
    tail->offset = block->offset + length;
    tail->length = block->length - length;
    tail->previous = block_index(arena, block);
    tail->next = block->next;
    if (tail->next != no_block) {
        arena->blocks[tail->next].previous = index;
    }
    block->next = index;
    block->length = length;
    return true;
}

/* Joins `block` with its right neighbour when both are free. */
void join_next(Arena *arena, Block *block) {
    const uint16_t index = block->next;
    if (index == no_block || block->used || arena->blocks[index].used) {
        return;
    }
    const Block *next = &arena->blocks[index];
    block->length += next->length;
    block->next = next->next;
    if (block->next != no_block) {
        arena->blocks[block->next].previous = block_index(arena, block);
    }
    give_spare(arena, index);
}

void *map_memory(Arena *arena, bool shared) {
    if (!shared) {
        return mmap(nullptr, arena->size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    }
    const int fd = memory_file_create("shbf-arena", arena->size);
    if (fd < 0) {
        return MAP_FAILED;
    }
    void *memory = mmap(nullptr, arena->size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    arena->fd = memory_file_seal_for_readers(fd);
    if (arena->fd < 0 && memory != MAP_FAILED) {
        munmap(memory, arena->size);
        memory = MAP_FAILED;
    }
    return memory;
}

} // namespace

Arena *arena_open(uint32_t number, uint32_t size, bool shared) {
    Arena *arena = static_cast<Arena *>(calloc(1, sizeof(Arena)));
    if (arena == nullptr) {
        return nullptr;
    }
    arena->number = number;
    arena->size = round_up(size, static_cast<uint32_t>(sysconf(_SC_PAGESIZE)));
    arena->fd = -1;
    void *memory = map_memory(arena, shared);
    if (memory == MAP_FAILED) {
        if (arena->fd >= 0) {
            close(arena->fd);
        }
        free(arena);
        return nullptr;
    }
    arena->base = static_cast<uint8_t *>(memory);
    arena->blocks[0].length = arena->size;
    arena->blocks[0].previous = arena->blocks[0].next = no_block;
    arena->spare = no_block;
    for (uint16_t index = arena_slots - 1; index >= 1; --index) {
        give_spare(arena, index);
    }
    return arena;
}

void arena_close(Arena *arena) {
    munmap(arena->base, arena->size);
    if (arena->fd >= 0) {
        close(arena->fd);
    }
    free(arena);
}

Block *arena_alloc(Arena *arena, uint32_t size) {
    if (size > arena->size) {
        return nullptr;
    }
    const uint32_t length = round_up(size == 0 ? 1 : size, block_unit);
    for (uint16_t index = 0; index != no_block; index = arena->blocks[index].next) {
        Block *block = &arena->blocks[index];
        if (block->used || block->length < length) {
            continue;
        }
        // The last spare block may not be at hand: then the whole run goes to this buffer until it is
        // trimmed.
        if (block->length > length) {
            split(arena, block, length);
        }
        block->used = block->owned = true;
        block->size = size;
        block->sequence = 0;
        block->sent = 0;
        block->holders = 0;
        arena->used_bytes += block->length;
        ++arena->used_blocks;
        return block;
    }
    return nullptr;
}

void arena_trim(Arena *arena, Block *block, uint32_t size) {
    block->size = size;
    const uint32_t before = block->length;
    const uint32_t length = round_up(size == 0 ? 1 : size, block_unit);
    if (length < before && split(arena, block, length)) {
        join_next(arena, &arena->blocks[block->next]);
        arena->used_bytes -= before - length;
    }
}

void arena_free(Arena *arena, Block *block) {
    arena->used_bytes -= block->length;
    --arena->used_blocks;
    block->used = block->owned = false;
    join_next(arena, block);
    if (block->previous != no_block) {
        join_next(arena, &arena->blocks[block->previous]);
    }
}

uint32_t arena_room(const Arena *arena) {
    uint32_t room = 0;
    for (uint16_t index = 0; index != no_block; index = arena->blocks[index].next) {
        const Block &block = arena->blocks[index];
        if (!block.used && block.length > room) {
            room = block.length;
        }
    }
    return room;
}

Block *arena_find(Arena *arena, const void *address) {
    const uint8_t *wanted = static_cast<const uint8_t *>(address);
    for (uint16_t index = 0; index != no_block; index = arena->blocks[index].next) {
        Block &block = arena->blocks[index];
        if (arena->base + block.offset == wanted) {
            return block.used ? &block : nullptr;
        }
    }
    return nullptr;
}

} // namespace shbf
