// Who owns a buffer, in ten lines.
//
// A block of the arena is free, or used. A used block is kept by the application's reference (`owned`) and by
// the receivers that have been sent it and have not released it (`holders`). It becomes free when both are
// gone. The application lets go with shbf_free or by broadcasting. A receiver lets go by writing the block's
// sequence to the block's word of its release table, which is looked at when it matters (reap: before
// allocating and publishing); or by detaching or dying, which clears its bit everywhere
// (shbf_channel_detach); or it is given up, when it sits on memory that others need (give_up_idle). Either
// way the arena's head tells it first that its frames are no longer its own. Sequences are not used twice, so
// an old word in a table matches nothing. The descriptor of a buffer is sent after the lock is let go. The
// holder's bit is set before, so the block cannot vanish in between, and is cleared again when the socket did
// not take the descriptor.

#include "shbf/channel.h"

#include "shbf/lock.h"
#include "shbf/memory_file.h"
#include "shbf/packet.h"

#include <errno.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

using namespace shbf;

namespace {

constexpr uint32_t arena_buffers = 4;
constexpr uint32_t arena_least_bytes = 65536 - sizeof(ArenaHead);
constexpr uint32_t size_most_bytes = 1u << 28;

std::atomic<Channel *> all_channels;

/* Receivers that are about to be sent something, and what each of them had missed by then. */
struct Batch {
    uint32_t count;
    Receiver *receivers[receivers_max];
    uint32_t skipped[receivers_max];
};

// ---- the arena; all under the lock ----

void set_arena(Channel *channel, Arena *arena) {
    channel->arena = arena;
    channel->bytes.store(arena == nullptr ? 0 : arena->size, std::memory_order_relaxed);
    channel->base.store(arena == nullptr ? nullptr : arena->base, std::memory_order_release);
}

void free_if_unused(Channel *channel, Block *block) {
    if (!block->owned && block->holders == 0) {
        arena_free(channel->arena, block);
    }
}

/* A closed channel keeps an arena only as long as the application owns a buffer of it. */
void drop_closed_arena(Channel *channel) {
    Arena *arena = channel->arena;
    if (channel->closed && arena != nullptr && arena->used_blocks == 0) {
        set_arena(channel, nullptr);
        arena_close(arena);
    }
}

bool holds(const Receiver *receiver, const Block *block) {
    return (block->holders >> receiver->index & 1) != 0;
}

bool was_sent(const Receiver *receiver, const Block *block) {
    return (block->sent >> receiver->index & 1) != 0;
}

uint32_t now_ms() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return static_cast<uint32_t>(now.tv_sec * 1000 + now.tv_nsec / 1000000);
}

void let_go(Channel *channel, Receiver *receiver, Block *block) {
    block->holders &= ~(1u << receiver->index);
    --receiver->held;
    free_if_unused(channel, block);
}

/* Takes back what receivers have released. */
void reap(Channel *channel) {
    Arena *arena = channel->arena;
    uint32_t left = arena->used_blocks;
    for (uint16_t index = 0; left != 0; ++index) {
        Block *block = &arena->blocks[index];
        left -= block->used ? 1 : 0;
        for (uint32_t holders = block->used ? block->holders : 0; holders != 0; holders &= holders - 1) {
            Receiver *receiver = channel->receivers[__builtin_ctz(holders)];
            if (receiver->released[index].load(std::memory_order_acquire) == block->sequence) {
                let_go(channel, receiver, block);
            }
        }
    }
}

enum class Pressure { none, some, high };

/* By how many of the largest buffers still fit. */
Pressure pressure(const Channel *channel) {
    const uint64_t room = arena_room(channel->arena);
    const uint64_t largest = channel->largest;
    return room >= 2 * largest ? Pressure::none : 2 * room >= 3 * largest ? Pressure::some : Pressure::high;
}

/*
 * May `receiver` be sent one more buffer? The fuller the arena, the fewer unreleased buffers a receiver may
 * have: those who keep up lose nothing while others sit on theirs.
 */
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

// ---- receivers ----

/* The receiver may be gone as soon as its last pin is; the channel never is. */
void unpin(Channel *channel, Receiver *receiver) {
    if (receiver->pins.fetch_sub(1, std::memory_order_seq_cst) == 1 &&
        channel->detaching.load(std::memory_order_seq_cst) != 0) {
        const Lock guard(&channel->lock);
        pthread_cond_broadcast(&channel->unpinned);
    }
}

/* Under the lock. */
void enlist(Batch *batch, Receiver *receiver) {
    receiver->pins.fetch_add(1, std::memory_order_relaxed);
    batch->receivers[batch->count] = receiver;
    batch->skipped[batch->count] = receiver->skipped;
    ++batch->count;
}

/* Under the lock, also since the loop side closes its eventfd under it: tells the loop of an error, once for
 * all that come before it looks. */
void note_error(const Channel *channel, Receiver *receiver, int error) {
    const uint64_t one = 1;
    if (receiver->error.exchange(error, std::memory_order_acq_rel) == 0 && channel->wake_fd >= 0 &&
        write(channel->wake_fd, &one, sizeof one) < 0) {
        return; // only when 2^64 - 2 wake-ups wait: the loop is awake
    }
}

/* Under the lock: `receiver` misses something. */
void skip(Channel *channel, Receiver *receiver) {
    ++receiver->skipped;
    ++channel->skipped;
    if (!receiver->given_up) {
        note_error(channel, receiver, EAGAIN);
    }
}

/* Takes away all that the receiver holds, and tells it first. */
void take_back(Channel *channel, Receiver *receiver) {
    if (channel->arena == nullptr) {
        return;
    }
    arena_head(channel->arena)->given_up[receiver->index].store(receiver->id, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_release); // before whatever is written to that memory next
    for (uint16_t index = 0; receiver->held != 0; ++index) {
        Block *block = &channel->arena->blocks[index];
        if (block->used && holds(receiver, block)) {
            let_go(channel, receiver, block);
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

/* While memory is short: receivers that keep theirs for too long (stopped, hanging, or up to no good) must
 * not cost the others theirs. */
void give_up_idle(Channel *channel) {
    while (pressure(channel) == Pressure::high) {
        const Block *block = held_too_long(channel->arena);
        if (block == nullptr) {
            return;
        }
        for (uint32_t holders = block->holders; holders != 0; holders &= holders - 1) {
            Receiver *receiver = channel->receivers[__builtin_ctz(holders)];
            receiver->given_up = true;
            take_back(channel, receiver);
            note_error(channel, receiver, ETIMEDOUT);
        }
    }
}

Receiver *find_receiver(const Channel *channel, int32_t id) {
    for (Receiver *receiver : channel->receivers) {
        if (receiver != nullptr && receiver->id == id) {
            return receiver;
        }
    }
    return nullptr;
}

bool send_arena(const Channel *channel, Receiver *receiver) {
    const ArenaPacket packet = {Kind::arena, channel->arena->size};
    receiver->has_arena = packet_send(receiver->fd, &packet, sizeof packet, channel->arena->fd) == 0;
    return receiver->has_arena;
}

/* Under the lock: puts the receiver on the list for `block`, or notes that it is skipped. */
void address_to(Channel *channel, Receiver *receiver, Block *block, Batch *batch) {
    if (!admits(channel, receiver) || (!receiver->has_arena && !send_arena(channel, receiver))) {
        skip(channel, receiver);
        return;
    }
    if (block->sent == 0) {
        block->sent_ms = now_ms();
    }
    block->sent |= 1u << receiver->index;
    block->holders |= 1u << receiver->index;
    ++receiver->held;
    enlist(batch, receiver);
}

/* The socket did not take the descriptor: takes the buffer back. A dead receiver is the loop side's to find.
 */
void undo(Channel *channel, Receiver *receiver, const Frame &packet, int error) {
    const Lock guard(&channel->lock);
    if (channel->receivers[receiver->index] != receiver) {
        return; // detached meanwhile, and all it held was freed then
    }
    Block *block = &channel->arena->blocks[packet.slot];
    if (block->used && block->sequence == packet.sequence && holds(receiver, block)) {
        block->sent &= ~(1u << receiver->index);
        let_go(channel, receiver, block);
    }
    if (error == -EAGAIN) {
        skip(channel, receiver);
    }
}

/* Sends to each of the batch and lets the batch go. Returns how many were reached. */
int32_t deliver(Channel *channel, const Batch &batch, Frame packet) {
    int32_t reached = 0;
    for (uint32_t i = 0; i < batch.count; ++i) {
        packet.skipped = batch.skipped[i];
        const int error = packet_send(batch.receivers[i]->fd, &packet, sizeof packet, -1);
        if (error == 0) {
            ++reached;
        } else {
            undo(channel, batch.receivers[i], packet, error);
        }
        unpin(channel, batch.receivers[i]);
    }
    return reached;
}

// ---- publishing ----

Block *owned_block(const Channel *channel, const void *buffer) {
    Block *block = channel->arena == nullptr ? nullptr : arena_find(channel->arena, buffer);
    return block != nullptr && block->owned ? block : nullptr;
}

/* Under the lock: numbers the block, once, and describes it. */
Frame describe(Channel *channel, Block *block) {
    if (block->sequence == 0) {
        channel->sequence += channel->sequence == UINT32_MAX ? 2 : 1; // never 0
        block->sequence = channel->sequence;
    }
    Frame packet{};
    packet.kind = Kind::frame;
    packet.offset = block->offset;
    packet.size = block->size;
    packet.slot = block_index(channel->arena, block);
    packet.sequence = block->sequence;
    packet.number = block->sequence;
    return packet;
}

Arena *first_arena(const Channel *channel, uint32_t size) {
    const uint32_t bytes = size * arena_buffers;
    return arena_open(bytes < arena_least_bytes ? arena_least_bytes : bytes, !channel->closed);
}

} // namespace

void shbf_channel_init(Channel *channel) {
    pthread_mutex_init(&channel->lock, nullptr);
    pthread_cond_init(&channel->unpinned, nullptr);
    channel->wake_fd = -1;
    channel->next = all_channels.load(std::memory_order_relaxed);
    while (!all_channels.compare_exchange_weak(channel->next, channel, std::memory_order_release,
                                               std::memory_order_relaxed)) {
    }
}

/* The owner of a buffer keeps its arena where it is, so for an owned buffer the answer is right and stays so;
 * for any other address the caller looks again under the channel's lock. */
Channel *shbf_channel_of(const void *buffer) {
    const uintptr_t wanted = reinterpret_cast<uintptr_t>(buffer);
    Channel *channel = all_channels.load(std::memory_order_acquire);
    for (; channel != nullptr; channel = channel->next) {
        const uintptr_t base = reinterpret_cast<uintptr_t>(channel->base.load(std::memory_order_acquire));
        if (base != 0 && wanted - base < channel->bytes.load(std::memory_order_relaxed)) {
            break;
        }
    }
    return channel;
}

void *shbf_channel_alloc(Channel *channel, uint32_t size) {
    if (channel == nullptr || size > size_most_bytes) {
        return nullptr;
    }
    const Lock guard(&channel->lock);
    if (channel->arena == nullptr) {
        Arena *arena = first_arena(channel, size);
        if (arena == nullptr) {
            return nullptr;
        }
        set_arena(channel, arena);
    }
    reap(channel);
    if (size > channel->largest && size <= channel->arena->size) {
        channel->largest = size;
    }
    give_up_idle(channel);
    const Block *block = arena_alloc(channel->arena, size);
    return block == nullptr ? nullptr : channel->arena->base + block->offset;
}

int32_t shbf_channel_trim(Channel *channel, void *buffer, uint32_t size) {
    const Lock guard(&channel->lock);
    Block *block = owned_block(channel, buffer);
    if (block == nullptr || block->sequence != 0) {
        return -EINVAL;
    }
    if (size > block->size) {
        return -EMSGSIZE;
    }
    arena_trim(channel->arena, block, size);
    return 0;
}

uint32_t shbf_channel_size(Channel *channel, const void *buffer) {
    const Lock guard(&channel->lock);
    const Block *block = owned_block(channel, buffer);
    return block == nullptr ? 0 : block->size;
}

void shbf_channel_free(Channel *channel, void *buffer) {
    const Lock guard(&channel->lock);
    Block *block = owned_block(channel, buffer);
    if (block != nullptr) {
        block->owned = false;
        free_if_unused(channel, block);
        drop_closed_arena(channel);
    }
}

int32_t shbf_channel_broadcast(Channel *channel, void *buffer) {
    if (channel == nullptr) {
        return -EINVAL;
    }
    Batch batch;
    batch.count = 0;
    Frame packet;
    {
        const Lock guard(&channel->lock);
        Block *block = owned_block(channel, buffer);
        if (block == nullptr) {
            return -EINVAL;
        }
        reap(channel);
        packet = describe(channel, block);
        for (Receiver *receiver : channel->receivers) {
            // One that was sent this buffer before has it already, or has had it.
            if (receiver != nullptr && !was_sent(receiver, block)) {
                address_to(channel, receiver, block, &batch);
            }
        }
        block->owned = false;
        free_if_unused(channel, block);
        drop_closed_arena(channel);
    }
    return deliver(channel, batch, packet);
}

int32_t shbf_channel_send(Channel *channel, int32_t receiver_id, void *buffer) {
    if (channel == nullptr) {
        return -EINVAL;
    }
    Batch batch;
    batch.count = 0;
    Frame packet;
    {
        const Lock guard(&channel->lock);
        Block *block = owned_block(channel, buffer);
        if (block == nullptr) {
            return -EINVAL;
        }
        Receiver *receiver = find_receiver(channel, receiver_id);
        if (receiver == nullptr) {
            return -ENOENT;
        }
        reap(channel);
        if (was_sent(receiver, block)) {
            return -EALREADY;
        }
        packet = describe(channel, block);
        address_to(channel, receiver, block, &batch);
    }
    return deliver(channel, batch, packet) == 1 ? 0 : -EAGAIN;
}

int32_t shbf_channel_message(Channel *channel, int32_t receiver_id, const void *bytes, int32_t length) {
    if (channel == nullptr || (bytes == nullptr && length > 0)) {
        return -EINVAL;
    }
    if (length < 0 || static_cast<uint32_t>(length) > message_max) {
        return -EMSGSIZE;
    }
    Batch batch;
    batch.count = 0;
    {
        const Lock guard(&channel->lock);
        for (Receiver *receiver : channel->receivers) {
            if (receiver != nullptr && (receiver_id == everyone || receiver->id == receiver_id)) {
                enlist(&batch, receiver);
            }
        }
    }
    int32_t reached = 0;
    for (uint32_t i = 0; i < batch.count; ++i) {
        const int error = packet_send_message(batch.receivers[i]->fd, bytes, static_cast<uint32_t>(length));
        // EMSGSIZE: larger than the system's limit for sockets here.
        if (error == -EAGAIN || error == -EMSGSIZE) {
            const Lock guard(&channel->lock);
            skip(channel, batch.receivers[i]);
        }
        reached += error == 0 ? 1 : 0;
        unpin(channel, batch.receivers[i]);
    }
    if (receiver_id == everyone) {
        return reached;
    }
    if (batch.count == 0) {
        return -ENOENT;
    }
    return reached == 1 ? 0 : -EAGAIN;
}

// ---- attaching and detaching ----

namespace {

/* A receiver with a release table of its own; *table is the descriptor to hand over. */
Receiver *make_receiver(int fd, uint32_t window, int *table) {
    Receiver *receiver = static_cast<Receiver *>(calloc(1, sizeof(Receiver)));
    *table = memory_file_create("shbf-release", release_table_bytes);
    void *memory =
        *table < 0 ? MAP_FAILED : mmap(nullptr, release_table_bytes, PROT_READ, MAP_SHARED, *table, 0);
    if (receiver == nullptr || memory == MAP_FAILED) {
        free(receiver);
        if (*table >= 0) {
            close(*table);
        }
        return nullptr;
    }
    receiver->fd = fd;
    receiver->window = window == 0 ? window_default : window < window_max ? window : window_max;
    receiver->released = static_cast<const ReleaseWord *>(memory);
    return receiver;
}

void free_receiver(Receiver *receiver) {
    munmap(const_cast<ReleaseWord *>(receiver->released), release_table_bytes);
    free(receiver);
}

/* Under the lock: the next receiver of this index has been sent nothing yet. */
void forget(Arena *arena, const Receiver *receiver) {
    for (uint16_t index = 0; arena != nullptr && index != no_block; index = arena->blocks[index].next) {
        arena->blocks[index].sent &= ~(1u << receiver->index);
    }
}

/* Under the lock: finds a place, and welcomes. The lock is held while Welcome is sent so that no frame can
 * overtake it, and so that a peer that has its Welcome is sure to get the next frame. */
int welcome(Channel *channel, Receiver *receiver, int table) {
    const Lock guard(&channel->lock);
    uint32_t index = 0;
    while (index < receivers_max && channel->receivers[index] != nullptr) {
        ++index;
    }
    if (channel->closed || index == receivers_max) {
        return -ENOSPC;
    }
    channel->last_id = channel->last_id == INT32_MAX ? 1 : channel->last_id + 1;
    receiver->id = channel->last_id;
    receiver->index = index;
    const Welcome packet = {Kind::welcome, wire_magic, wire_version, receiver->id, slots_max, index};
    const int result = packet_send(receiver->fd, &packet, sizeof packet, table);
    if (result == 0) {
        channel->receivers[index] = receiver;
        ++channel->receiver_count;
    }
    return result;
}

} // namespace

int32_t shbf_channel_attach(Channel *channel, int fd, uint32_t window, Receiver **receiver) {
    int table;
    Receiver *made = make_receiver(fd, window, &table);
    if (made == nullptr) {
        return -ENOMEM;
    }
    const int result = welcome(channel, made, table);
    close(table);
    if (result < 0) {
        free_receiver(made);
        return result;
    }
    *receiver = made;
    return 0;
}

void shbf_channel_detach(Channel *channel, Receiver *receiver) {
    {
        const Lock guard(&channel->lock);
        channel->receivers[receiver->index] = nullptr;
        --channel->receiver_count;
        take_back(channel, receiver);
        forget(channel->arena, receiver);
        channel->detaching.fetch_add(1, std::memory_order_seq_cst);
        while (receiver->pins.load(std::memory_order_seq_cst) != 0) {
            pthread_cond_wait(&channel->unpinned, &channel->lock);
        }
        channel->detaching.fetch_sub(1, std::memory_order_seq_cst);
    }
    free_receiver(receiver);
}

void shbf_channel_close(Channel *channel) {
    const Lock guard(&channel->lock);
    channel->closed = true;
    drop_closed_arena(channel);
}

void shbf_channel_set_wake(Channel *channel, int fd) {
    const Lock guard(&channel->lock);
    if (channel->wake_fd >= 0) {
        close(channel->wake_fd);
    }
    channel->wake_fd = fd;
}

void shbf_channel_describe(Channel *channel, Info *info) {
    const Lock guard(&channel->lock);
    *info = {};
    info->kind = Kind::info;
    info->receivers = channel->receiver_count;
    info->published = channel->sequence;
    info->skipped = channel->skipped;
    if (channel->arena != nullptr) {
        reap(channel);
        info->arena_bytes = channel->arena->size;
        info->arena_used = channel->arena->used_bytes;
        info->buffers = channel->arena->used_blocks;
    }
    info->pid = static_cast<int32_t>(getpid());
}
