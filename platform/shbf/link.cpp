#include "shbf/link.h"

#include "run_dir/run_dir.h"
#include "shbf/memory_file.h"
#include "shbf/packet.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace shbf;

namespace {

constexpr uint32_t slots_trusted_max = 65536;
constexpr uint32_t arena_trusted_max = (1u << 30) + 65536;

/* Reads a record that must fill the whole packet. */
template <typename Record>
bool read_record(const Link *link, int length, Record *record) {
    if (length != static_cast<int>(sizeof *record)) {
        return false;
    }
    memcpy(record, link->packet, sizeof *record);
    return true;
}

int take_welcome(Link *link, int length, int passed) {
    Welcome welcome;
    if (link->attached || !read_record(link, length, &welcome) || welcome.magic != wire_magic ||
        welcome.version != wire_version || welcome.slots > slots_trusted_max || welcome.receiver <= 0 ||
        welcome.index >= receivers_max) {
        return -EPROTO;
    }
    const uint32_t bytes = welcome.slots * static_cast<uint32_t>(sizeof(ReleaseWord));
    if (bytes == 0 || passed < 0 || !memory_file_is_safe(passed, bytes)) {
        return -EPROTO;
    }
    void *memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, passed, 0);
    if (memory == MAP_FAILED) {
        return -errno;
    }
    link->released = static_cast<ReleaseWord *>(memory);
    link->slots = welcome.slots;
    link->id = welcome.receiver;
    link->index = welcome.index;
    link->attached = true;
    return 0;
}

int take_arena(Link *link, int length, int passed) {
    ArenaPacket packet;
    if (!link->attached || link->arena != nullptr || !read_record(link, length, &packet) ||
        packet.size <= sizeof(ArenaHead) || packet.size > arena_trusted_max || passed < 0 ||
        !memory_file_is_safe(passed, packet.size)) {
        return -EPROTO;
    }
    void *memory = mmap(nullptr, packet.size, PROT_READ, MAP_SHARED, passed, 0);
    if (memory == MAP_FAILED) {
        return -errno;
    }
    link->arena = static_cast<const uint8_t *>(memory);
    link->arena_bytes = packet.size;
    return 0;
}

int take_frame(const Link *link, int length, shbf_event_t *event) {
    Frame frame;
    if (link->arena == nullptr || !read_record(link, length, &frame) || frame.slot >= link->slots ||
        frame.offset > link->arena_bytes || frame.size > link->arena_bytes - frame.offset) {
        return -EPROTO;
    }
    if (!shbf_link_intact(link)) {
        return -EPIPE; // given up while this was on its way
    }
    event->kind = SHBF_EVENT_FRAME;
    event->frame.data = link->arena + frame.offset;
    event->frame.size = frame.size;
    event->frame.number = frame.number;
    event->frame.skipped = frame.skipped;
    event->frame.slot = frame.slot;
    event->frame.sequence = frame.sequence;
    return 1;
}

int take_message(const Link *link, int length, shbf_event_t *event) {
    Message record;
    if (!link->attached || length < static_cast<int>(sizeof record)) {
        return -EPROTO;
    }
    memcpy(&record, link->packet, sizeof record);
    if (record.length != static_cast<uint32_t>(length) - sizeof record) {
        return -EPROTO;
    }
    link->packet[length] = 0;
    event->kind = SHBF_EVENT_MESSAGE;
    event->message.bytes = link->packet + sizeof record;
    event->message.length = record.length;
    return 1;
}

int take_refusal(const Link *link, int length) {
    Refused refused;
    if (link->attached || !read_record(link, length, &refused) || refused.error <= 0) {
        return -EPROTO;
    }
    return -refused.error;
}

int take_packet(Link *link, int length, int passed, shbf_event_t *event) {
    Kind kind;
    if (length < static_cast<int>(sizeof kind)) {
        return -EPROTO;
    }
    memcpy(&kind, link->packet, sizeof kind);
    switch (kind) {
    case Kind::welcome:
        return take_welcome(link, length, passed);
    case Kind::arena:
        return take_arena(link, length, passed);
    case Kind::frame:
        return take_frame(link, length, event);
    case Kind::message:
        return take_message(link, length, event);
    case Kind::refused:
        return take_refusal(link, length);
    default:
        return -EPROTO;
    }
}

} // namespace

int shbf_link_open(Link *link, const char *path, Role role, uint32_t window, int timeout_ms) {
    memset(link, 0, sizeof *link);
    link->fd = run_dir_connect(path, SOCK_SEQPACKET, timeout_ms);
    if (link->fd < 0) {
        const int error = link->fd;
        link->fd = -1;
        return error;
    }
    link->packet = static_cast<uint8_t *>(malloc(packet_max + 1));
    if (link->packet == nullptr) {
        return -ENOMEM;
    }
    const Hello hello = {Kind::hello, wire_magic, wire_version, role, window, 0};
    return packet_send(link->fd, &hello, sizeof hello, -1);
}

void shbf_link_close(Link *link) {
    if (link->fd >= 0) {
        close(link->fd);
    }
    if (link->released != nullptr) {
        munmap(link->released, link->slots * sizeof(ReleaseWord));
    }
    if (link->arena != nullptr) {
        munmap(const_cast<uint8_t *>(link->arena), link->arena_bytes);
    }
    free(link->packet);
    memset(link, 0, sizeof *link);
    link->fd = -1;
}

int shbf_link_receive(Link *link, shbf_event_t *event, bool wait) {
    int passed = -1;
    int length = packet_receive(link->fd, link->packet, packet_max, &passed, wait);
    if (length == -ECONNRESET) {
        // The broadcaster closed with messages unread; what it had sent before stands behind this.
        length = packet_receive(link->fd, link->packet, packet_max, &passed, wait);
    }
    if (length == 0 || length == -ECONNRESET) {
        if (passed >= 0) {
            close(passed);
        }
        return -EPIPE;
    }
    if (length < 0) {
        return length == -EMSGSIZE ? -EPROTO : length;
    }
    const int result = take_packet(link, length, passed, event);
    if (passed >= 0) {
        close(passed); // the mapping stays
    }
    return result;
}

bool shbf_link_intact(const Link *link) {
    return link->arena == nullptr ||
           !given_up(static_cast<const ArenaHead *>(static_cast<const void *>(link->arena)), link->index,
                     link->id);
}

// A word only moves on: a second release of an old frame must not undo that of the slot's next one.
void shbf_link_release(const Link *link, const shbf_frame_t *frame) {
    if (frame->slot >= link->slots) {
        return;
    }
    ReleaseWord *word = &link->released[frame->slot];
    uint32_t before = word->load(std::memory_order_relaxed);
    while ((before == 0 || static_cast<int32_t>(frame->sequence - before) > 0) &&
           !word->compare_exchange_weak(before, frame->sequence, std::memory_order_release,
                                        std::memory_order_relaxed)) {
    }
}

int32_t shbf_link_send(const Link *link, const void *bytes, uint32_t length) {
    if (length > message_max) {
        return -EMSGSIZE;
    }
    const int result = packet_send_message(link->fd, bytes, length);
    return result == -ECONNRESET ? -EPIPE : result;
}
