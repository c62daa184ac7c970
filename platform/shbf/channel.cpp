// Publishing (channel.h). Who owns a buffer when is told in holding.h; what is done in the frame's way, here:
//
// Under the lock the buffer gets its number, and each receiver that may have it gets its bit in the block's
// holders and a descriptor in its ring, which is memory. When the lock has been let go those that sleep are
// woken, all with one system call; those that are awake cost none (turn.h). So the call never waits for
// anybody, and whoever is woken finds all there is.

#include "shbf/bell.h"
#include "shbf/holding.h"
#include "shbf/packet.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

using namespace shbf;

namespace {

constexpr uint32_t size_most_bytes = 1u << 28;

std::atomic<Channel *> all_channels;

// ---- receivers; all under the lock ----

Receiver *find_receiver(const Channel *channel, int32_t id) {
    for (Receiver *receiver : channel->receivers) {
        if (receiver != nullptr && receiver->id == id) {
            return receiver;
        }
    }
    return nullptr;
}

// ---- publishing ----

/* Under the lock: the next number of the channel, if it has none yet. */
void number(Channel *channel, Block *block) {
    if (block->sequence == 0) {
        channel->sequence += channel->sequence == UINT32_MAX ? 2 : 1; // never 0
        block->sequence = channel->sequence;
    }
}

void write_entry(Receiver *receiver, const Frame &frame) {
    uint32_t words[frame_words];
    memcpy(words, &frame, sizeof words);
    Word *entry = receiver->page->ring[receiver->pushed % ring_entries];
    for (uint32_t i = 0; i < frame_words; ++i) {
        entry[i].store(words[i], std::memory_order_relaxed);
    }
    ++receiver->pushed;
    receiver->page->pushed.store(receiver->pushed, std::memory_order_release);
}

/* Under the lock: gives the receiver the block, or notes that it is skipped. */
bool give(Channel *channel, Receiver *receiver, const Place &place, Turn *turn) {
    Block *block = place.block;
    if (!admits(channel, receiver) || !send_arena(channel, place.arena, receiver)) {
        skip(channel, receiver, turn);
        return false;
    }
    hold(receiver, block);
    write_entry(receiver, {block->offset, block->size, slot_of(place.arena, block_index(place.arena, block)),
                           block->sequence, receiver->skipped, receiver->begun, place.arena->number, 0});
    turn->entry_for(receiver);
    return true;
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
 * for any other address the caller looks again under the channel's lock. The size is that of this arena, and
 * not of one that has taken its place meanwhile, when the arena is still there after it was read. */
Channel *shbf_channel_of(const void *buffer) {
    const uintptr_t wanted = reinterpret_cast<uintptr_t>(buffer);
    Channel *channel = all_channels.load(std::memory_order_acquire);
    for (; channel != nullptr; channel = channel->next) {
        for (uint32_t place = 0; place < arenas_max; ++place) {
            const uint8_t *base = channel->memory.base[place].load(std::memory_order_acquire);
            const uint32_t bytes = channel->memory.bytes[place].load(std::memory_order_acquire);
            const bool still = channel->memory.base[place].load(std::memory_order_relaxed) == base;
            if (base != nullptr && still && wanted - reinterpret_cast<uintptr_t>(base) < bytes) {
                return channel;
            }
        }
    }
    return nullptr;
}

void *shbf_channel_alloc(Channel *channel, uint32_t size) {
    if (channel == nullptr || size > size_most_bytes) {
        return nullptr;
    }
    Turn turn(channel);
    reap(channel);
    if (!provide_arena(channel, size)) {
        return nullptr;
    }
    bell_open(channel);
    grow_if_short(channel, size, &turn);
    give_up_idle(channel, &turn);
    Arena *arena = channel->memory.arena;
    const Block *block = arena_alloc(arena, size);
    return block == nullptr ? nullptr : arena->base + block->offset;
}

int32_t shbf_channel_trim(Channel *channel, void *buffer, uint32_t size) {
    const Turn turn(channel);
    const Place place = owned_place(channel, buffer);
    if (place.block == nullptr || place.block->sequence != 0) {
        return -EINVAL;
    }
    if (size > place.block->size) {
        return -EMSGSIZE;
    }
    arena_trim(place.arena, place.block, size);
    return 0;
}

uint32_t shbf_channel_size(Channel *channel, const void *buffer) {
    const Turn turn(channel);
    const Place place = owned_place(channel, buffer);
    return place.block == nullptr ? 0 : place.block->size;
}

void shbf_channel_free(Channel *channel, void *buffer) {
    const Turn turn(channel);
    const Place place = owned_place(channel, buffer);
    if (place.block != nullptr) {
        place.block->owned = false;
        free_if_unused(place.arena, place.block);
        tidy(channel);
    }
}

int32_t shbf_channel_broadcast(Channel *channel, void *buffer) {
    if (channel == nullptr) {
        return -EINVAL;
    }
    Turn turn(channel);
    const Place place = owned_place(channel, buffer);
    Block *block = place.block;
    if (block == nullptr) {
        return -EINVAL;
    }
    reap(channel);
    grow_if_short(channel, 0, &turn);
    number(channel, block);
    int32_t reached = 0;
    for (Receiver *receiver : channel->receivers) {
        // One that was sent this buffer before has it already, or has had it.
        if (receiver != nullptr && !was_sent(receiver, block)) {
            reached += give(channel, receiver, place, &turn) ? 1 : 0;
        }
    }
    block->owned = false;
    free_if_unused(place.arena, block);
    tidy(channel);
    return reached;
}

int32_t shbf_channel_send(Channel *channel, int32_t receiver_id, void *buffer) {
    if (channel == nullptr) {
        return -EINVAL;
    }
    Turn turn(channel);
    const Place place = owned_place(channel, buffer);
    Block *block = place.block;
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
    grow_if_short(channel, 0, &turn);
    number(channel, block);
    return give(channel, receiver, place, &turn) ? 0 : -EAGAIN;
}

// ---- messages ----

namespace {

/* Receivers that a message goes to, and how many frames each had been given by then. */
struct Addressees {
    Pinned pinned;
    uint32_t frames[receivers_max];
    int result[receivers_max];
};

void address(Channel *channel, int32_t receiver_id, Addressees *addressees) {
    const Turn turn(channel);
    for (Receiver *receiver : channel->receivers) {
        if (receiver != nullptr && !receiver->given_up &&
            (receiver_id == everyone || receiver->id == receiver_id)) {
            addressees->frames[addressees->pinned.count] = receiver->pushed;
            pin(&addressees->pinned, receiver);
            ++receiver->begun;
        }
    }
}

/* Books what became of it. Returns how many were reached. */
int32_t book(Channel *channel, const Addressees &addressees) {
    Turn turn(channel);
    int32_t reached = 0;
    for (uint32_t i = 0; i < addressees.pinned.count; ++i) {
        Receiver *receiver = addressees.pinned.receivers[i];
        const int result = addressees.result[i];
        if (result != 0) {
            --receiver->begun;
        } else if (channel->receivers[receiver->index] == receiver) {
            count_packet(receiver);
            turn.packet_for(receiver);
        }
        if (result == -EAGAIN || result == -EMSGSIZE) {
            skip(channel, receiver, &turn); // EMSGSIZE: larger than the system's limit for sockets here
        }
        reached += result == 0 ? 1 : 0;
    }
    return reached;
}

} // namespace

int32_t shbf_channel_message(Channel *channel, int32_t receiver_id, const void *bytes, int32_t length) {
    if (channel == nullptr || (bytes == nullptr && length > 0)) {
        return -EINVAL;
    }
    if (length < 0 || static_cast<uint32_t>(length) > message_max) {
        return -EMSGSIZE;
    }
    Addressees addressees;
    address(channel, receiver_id, &addressees);
    const Pinned &pinned = addressees.pinned;
    for (uint32_t i = 0; i < pinned.count; ++i) {
        addressees.result[i] = packet_send_message(pinned.receivers[i]->fd, bytes,
                                                   static_cast<uint32_t>(length), addressees.frames[i]);
    }
    const int32_t reached = book(channel, addressees);
    drop_pins(channel, pinned);
    if (receiver_id == everyone) {
        return reached;
    }
    const bool gone =
        pinned.count == 0 || addressees.result[0] == -EPIPE || addressees.result[0] == -ECONNRESET;
    return reached == 1 ? 0 : gone ? -ENOENT : -EAGAIN;
}

void shbf_channel_close(Channel *channel) {
    const Turn turn(channel);
    channel->closed = true;
    bell_close(channel);
    tidy(channel);
}

void shbf_channel_describe(Channel *channel, Info *info) {
    const Turn turn(channel);
    *info = {};
    info->kind = Kind::info;
    info->receivers = channel->receiver_count;
    info->published = channel->sequence;
    info->skipped = channel->skipped;
    reap(channel);
    each_arena(channel, [&](const Arena *arena) {
        info->arena_bytes += arena->size;
        info->arena_used += arena->used_bytes;
        info->buffers += arena->used_blocks;
    });
    info->pid = static_cast<int32_t>(getpid());
}
