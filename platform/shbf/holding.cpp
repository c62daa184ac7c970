#include "shbf/holding.h"

#include <errno.h>
#include <time.h>

namespace shbf {

namespace {

bool holds(const Receiver *receiver, const Block *block) {
    return (block->holders >> receiver->index & 1) != 0;
}

uint32_t now_ms() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return static_cast<uint32_t>(now.tv_sec) * 1000 + static_cast<uint32_t>(now.tv_nsec / 1000000);
}

void let_go(Arena *arena, Receiver *receiver, Block *block) {
    block->holders &= ~(1u << receiver->index);
    --receiver->held;
    free_if_unused(arena, block);
}

void reap_arena(const Channel *channel, Arena *arena) {
    uint32_t left = arena->used_blocks;
    for (uint16_t index = 0; left != 0; ++index) {
        Block *block = &arena->blocks[index];
        left -= block->used ? 1 : 0;
        for (uint32_t holders = block->used ? block->holders : 0; holders != 0; holders &= holders - 1) {
            Receiver *receiver = channel->receivers[__builtin_ctz(holders)];
            const Word &word = receiver->page->released[slot_of(arena, index)];
            if (word.load(std::memory_order_acquire) == block->sequence) {
                let_go(arena, receiver, block);
            }
        }
    }
}

void take_back_from(Arena *arena, Receiver *receiver) {
    uint32_t left = arena->used_blocks;
    for (uint16_t index = 0; left != 0; ++index) {
        Block *block = &arena->blocks[index];
        left -= block->used ? 1 : 0;
        if (block->used && holds(receiver, block)) {
            let_go(arena, receiver, block);
        }
    }
}

/* The block that has been held longest, when that is too long. */
const Block *held_too_long(const Arena *arena) {
    const uint32_t now = now_ms();
    uint32_t age = hold_limit_ms;
    const Block *oldest = nullptr;
    for (uint16_t index = 0; index != no_block; index = arena->blocks[index].next) {
        const Block *block = &arena->blocks[index];
        if (block->used && block->holders != 0 && now - block->sent_ms > age) {
            age = now - block->sent_ms;
            oldest = block;
        }
    }
    return oldest;
}

/* Stopped, hanging, or up to no good: they must not cost the others theirs. */
void give_up_holders(Channel *channel, const Block *block, Turn *turn) {
    for (uint32_t holders = block->holders; holders != 0; holders &= holders - 1) {
        Receiver *receiver = channel->receivers[__builtin_ctz(holders)];
        receiver->given_up = true;
        take_back(channel, receiver);
        turn->report(receiver, ETIMEDOUT);
    }
}

} // namespace

void hold(Receiver *receiver, Block *block) {
    block->sent_ms = now_ms();
    block->sent |= 1u << receiver->index;
    block->holders |= 1u << receiver->index;
    ++receiver->held;
}

void free_if_unused(Arena *arena, Block *block) {
    if (!block->owned && block->holders == 0) {
        arena_free(arena, block);
    }
}

void reap(Channel *channel) {
    each_arena(channel, [&](Arena *arena) { reap_arena(channel, arena); });
    tidy(channel);
}

/* The fuller the arena, the fewer unreleased buffers a receiver may have: those who keep up lose nothing
 * while others sit on theirs. */
bool admits(const Channel *channel, const Receiver *receiver) {
    constexpr uint32_t held_under_pressure = 3;
    if (receiver->given_up) {
        return false;
    }
    if (receiver->held == 0) {
        return true;
    }
    switch (pressure(channel)) {
    case Pressure::none:
        return receiver->held < receiver->window;
    case Pressure::some:
        return receiver->held < held_under_pressure && receiver->held < receiver->window;
    default:
        return false;
    }
}

void skip(Channel *channel, Receiver *receiver, Turn *turn) {
    ++receiver->skipped;
    ++channel->skipped;
    if (!receiver->given_up) {
        turn->report(receiver, EAGAIN);
    }
}

void take_back(Channel *channel, Receiver *receiver) {
    receiver->page->given_up.store(1, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_release); // before whatever is written to that memory next
    each_arena(channel, [&](Arena *arena) { take_back_from(arena, receiver); });
    tidy(channel);
}

void forget(Channel *channel, const Receiver *receiver) {
    each_arena(channel, [&](Arena *arena) {
        for (uint16_t index = 0; index != no_block; index = arena->blocks[index].next) {
            arena->blocks[index].sent &= ~(1u << receiver->index);
        }
    });
}

void grow_if_short(Channel *channel, uint32_t size, Turn *turn) {
    const Memory *memory = &channel->memory;
    if (memory->arena == nullptr || memory->arena->size >= memory->full_bytes ||
        pressure(channel) != Pressure::high) {
        return;
    }
    // As long as the arena before is there, this one stays.
    const Block *block = nullptr;
    while (memory->retired != nullptr && (block = held_too_long(memory->retired)) != nullptr) {
        give_up_holders(channel, block, turn);
    }
    fit_arena(channel, size);
}

void give_up_idle(Channel *channel, Turn *turn) {
    const Block *block = nullptr;
    while (pressure(channel) == Pressure::high && (block = held_too_long(channel->memory.arena)) != nullptr) {
        give_up_holders(channel, block, turn);
    }
}

} // namespace shbf
