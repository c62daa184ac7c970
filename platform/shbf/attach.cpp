// Receivers come and go (channel.h); all on the loop thread.

#include "shbf/bell.h"
#include "shbf/holding.h"
#include "shbf/memory_file.h"
#include "shbf/packet.h"

#include <errno.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace shbf;

namespace {

/* A receiver with a link page of its own; *page_fd is the descriptor to hand over, or, when there is none,
 * why not: a negative errno value. */
Receiver *make_receiver(int fd, uint32_t window, int *page_fd) {
    *page_fd = memory_file_create("shbf-link", link_page_bytes);
    if (*page_fd < 0) {
        return nullptr;
    }
    void *memory = mmap(nullptr, link_page_bytes, PROT_READ | PROT_WRITE, MAP_SHARED, *page_fd, 0);
    Receiver *receiver =
        memory == MAP_FAILED ? nullptr : static_cast<Receiver *>(calloc(1, sizeof(Receiver)));
    if (receiver == nullptr) {
        if (memory != MAP_FAILED) {
            munmap(memory, link_page_bytes);
        }
        close(*page_fd);
        *page_fd = -ENOMEM;
        return nullptr;
    }
    receiver->fd = fd;
    receiver->window = window == 0 ? window_default : window < window_max ? window : window_max;
    receiver->page = static_cast<LinkPage *>(memory);
    // Who polls before it has looked for a first time hears of what comes meanwhile.
    receiver->page->asleep.store(asleep_on_socket, std::memory_order_relaxed);
    return receiver;
}

void free_receiver(Receiver *receiver) {
    munmap(receiver->page, link_page_bytes);
    free(receiver);
}

/* The numbers begin again only after so long that nobody remembers; and not with one that is still there. */
int32_t next_id(Channel *channel) {
    bool taken = true;
    while (taken) {
        channel->last_id = channel->last_id == INT32_MAX ? 1 : channel->last_id + 1;
        taken = false;
        for (const Receiver *other : channel->receivers) {
            taken |= other != nullptr && other->id == channel->last_id;
        }
    }
    return channel->last_id;
}

/* Finds a place, and welcomes. The lock is held while Welcome is sent, so that a peer that has its Welcome is
 * sure to get the next frame. */
int welcome(Channel *channel, Receiver *receiver, int page_fd) {
    const Turn turn(channel);
    uint32_t index = 0;
    while (index < receivers_max && channel->receivers[index] != nullptr) {
        ++index;
    }
    if (channel->closed || index == receivers_max) {
        return -ENOSPC;
    }
    receiver->id = next_id(channel);
    receiver->index = index;
    const Welcome packet = {Kind::welcome, wire_magic, wire_version, receiver->id, slots_max, index};
    const int result = packet_send(receiver->fd, &packet, sizeof packet, page_fd);
    if (result < 0) {
        return result;
    }
    channel->receivers[index] = receiver;
    ++channel->receiver_count;
    if (channel->memory.arena != nullptr) {
        send_arena(channel, channel->memory.arena, receiver); // if it fails now, it goes with the first frame
    }
    return 0;
}

} // namespace

bool shbf::send_arena(const Channel *channel, const Arena *arena, Receiver *receiver) {
    uint32_t *has = &receiver->arenas[arena->number % arenas_max];
    if (*has == arena->number) {
        return true;
    }
    bell_send(channel, receiver);
    const ArenaPacket packet = {Kind::arena, arena->size, arena->number};
    if (packet_send(receiver->fd, &packet, sizeof packet, arena->fd) != 0) {
        return false;
    }
    *has = arena->number;
    ++receiver->begun;
    count_packet(receiver);
    return true;
}

int32_t shbf_channel_attach(Channel *channel, int fd, uint32_t window, Receiver **receiver) {
    int page_fd;
    Receiver *made = make_receiver(fd, window, &page_fd);
    if (made == nullptr) {
        return page_fd;
    }
    const int result = welcome(channel, made, page_fd);
    close(page_fd);
    if (result < 0) {
        free_receiver(made);
        return result;
    }
    *receiver = made;
    return 0;
}

void shbf_channel_detach(Channel *channel, Receiver *receiver) {
    {
        Turn turn(channel);
        channel->receivers[receiver->index] = nullptr;
        --channel->receiver_count;
        take_back(channel, receiver);
        forget(channel, receiver);
        wait_for_pins(channel, receiver->pins);
        // One that does not sleep on the socket would not notice. All packets that were begun are in the
        // socket by now, and the end stands behind them.
        shutdown(receiver->fd, SHUT_RDWR);
        receiver->page->packets.store(receiver->begun + 1, std::memory_order_release);
        turn.wake_last(receiver);
    }
    free_receiver(receiver);
}

void shbf_channel_set_wake(Channel *channel, int fd) {
    const Turn turn(channel);
    const int before = channel->wake_fd;
    channel->wake_fd = fd;
    if (before >= 0) {
        wait_for_pins(channel, channel->wake_pins);
        close(before);
    }
}
