#include "shbf/link.h"

#include "run_dir/run_dir.h"
#include "shbf/memory_file.h"
#include "shbf/packet.h"
#include "shbf/sleep.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace shbf;

namespace {

constexpr uint32_t arena_trusted_max = (1u << 30) + 65536;

/* A broadcaster that is killed wakes nobody, so who sleeps on its word looks at the socket from time to time.
 * One that ends in order, or drops this receiver, is heard of at once. */
constexpr uint32_t sleep_slice_ms = 200;

/* So many wake-ups for nothing, one after the other, and somebody abuses the bell. */
constexpr uint32_t false_alarms_most = 16;

/* Somebody may have moved it away from the bell, and have woken it before it looked for itself. A machine
 * that is loaded is late at times, too: up to one in five wake-ups is nothing. */
constexpr uint32_t late_from_ms = 20;
constexpr uint32_t late_weight = 4;
constexpr uint32_t late_most = 16;

/* What read_packet says of a Wake. */
constexpr int only_a_wake = 1;

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
        welcome.version != wire_version || welcome.slots != slots_max || welcome.receiver <= 0 ||
        welcome.index >= receivers_max) {
        return -EPROTO;
    }
    if (passed < 0 || !memory_file_is_safe(passed, link_page_bytes)) {
        return -EPROTO;
    }
    void *memory = mmap(nullptr, link_page_bytes, PROT_READ | PROT_WRITE, MAP_SHARED, passed, 0);
    if (memory == MAP_FAILED) {
        return -errno;
    }
    link->page = static_cast<LinkPage *>(memory);
    link->id = welcome.receiver;
    link->index = welcome.index;
    link->attached = true;
    return 0;
}

int take_bell(Link *link, int length, int passed) {
    BellPacket packet;
    if (!link->attached || link->bell != nullptr || !read_record(link, length, &packet) || passed < 0 ||
        !memory_file_is_safe(passed, bell_bytes)) {
        return -EPROTO;
    }
    void *memory = mmap(nullptr, bell_bytes, PROT_READ, MAP_SHARED, passed, 0);
    if (memory == MAP_FAILED) {
        return -errno;
    }
    link->bell = static_cast<const Bell *>(memory);
    return 0;
}

/* Room for another arena: what the application still holds stays where it is. */
bool unmap_old(Mapping *mapping) {
    if (mapping->base == nullptr) {
        return true;
    }
    if (__atomic_load_n(&mapping->held, __ATOMIC_ACQUIRE) != 0) {
        return false;
    }
    munmap(const_cast<uint8_t *>(mapping->base), mapping->bytes);
    *mapping = {};
    return true;
}

int take_arena(Link *link, int length, int passed) {
    ArenaPacket packet;
    if (!link->attached || !read_record(link, length, &packet) || packet.size == 0 ||
        packet.size > arena_trusted_max || packet.arena == 0 || passed < 0 ||
        !memory_file_is_safe(passed, packet.size)) {
        return -EPROTO;
    }
    Mapping *mapping = &link->arenas[packet.arena % arenas_max];
    if (!unmap_old(mapping)) {
        return -EPROTO;
    }
    void *memory = mmap(nullptr, packet.size, PROT_READ, MAP_SHARED, passed, 0);
    if (memory == MAP_FAILED) {
        return -errno;
    }
    *mapping = {static_cast<const uint8_t *>(memory), packet.size, packet.arena, 0};
    return 0;
}

/* Is there an entry of the ring that has not been taken? */
bool has_entry(const Link *link) {
    return link->page != nullptr && link->page->pushed.load(std::memory_order_acquire) != link->entries;
}

/* Does the broadcaster say that it has sent a packet that has not been taken? */
bool has_packet(const Link *link) {
    return link->page != nullptr &&
           static_cast<int32_t>(link->page->packets.load(std::memory_order_acquire) - link->packets) > 0;
}

/* The next entry, copied: what is checked is what is used. */
Frame read_entry(const Link *link) {
    const Word *entry = link->page->ring[link->entries % ring_entries];
    uint32_t words[frame_words];
    for (uint32_t i = 0; i < frame_words; ++i) {
        words[i] = entry[i].load(std::memory_order_relaxed);
    }
    Frame frame;
    memcpy(&frame, words, sizeof frame);
    return frame;
}

bool is_sound(const Link *link, const Frame &frame) {
    const uint32_t pushed = link->page->pushed.load(std::memory_order_relaxed);
    const uint32_t place = frame.arena % arenas_max;
    const Mapping &mapping = link->arenas[place];
    return pushed - link->entries <= ring_entries && mapping.base != nullptr &&
           mapping.number == frame.arena && frame.slot / arena_slots == place && frame.sequence != 0 &&
           __atomic_load_n(&link->taken[frame.slot], __ATOMIC_ACQUIRE) == 0 &&
           frame.offset <= mapping.bytes && frame.size <= mapping.bytes - frame.offset;
}

int take_frame(Link *link, const Frame &frame, shbf_event_t *event) {
    if (!is_sound(link, frame)) {
        return -EPROTO;
    }
    ++link->entries;
    if (!shbf_link_intact(link)) {
        return -EPIPE; // given up while this was on its way
    }
    Mapping *mapping = &link->arenas[frame.arena % arenas_max];
    __atomic_fetch_add(&mapping->held, 1, __ATOMIC_RELAXED);
    // The receiver's own number of it, for the release: a broadcaster could give two frames the same one, and
    // a second release of the first would be the other's.
    const uint32_t taking = link->entries == 0 ? 1 : link->entries;
    __atomic_store_n(&link->taken[frame.slot], taking, __ATOMIC_RELEASE);
    event->kind = SHBF_EVENT_FRAME;
    event->frame.data = mapping->base + frame.offset;
    event->frame.size = frame.size;
    event->frame.number = frame.sequence;
    event->frame.skipped = frame.skipped;
    event->frame.slot = frame.slot;
    event->frame.taking = taking;
    return 1;
}

int take_message(Link *link, shbf_event_t *event) {
    link->message_waits = false;
    event->kind = SHBF_EVENT_MESSAGE;
    event->message.bytes = link->packet + sizeof(Message);
    event->message.length = link->message_length;
    return 1;
}

/* It is taken when the frames before it have been. */
int keep_message(Link *link, int length) {
    Message record;
    if (!link->attached || length < static_cast<int>(sizeof record)) {
        return -EPROTO;
    }
    memcpy(&record, link->packet, sizeof record);
    if (record.length != static_cast<uint32_t>(length) - sizeof record) {
        return -EPROTO;
    }
    link->packet[length] = 0;
    link->message_waits = true;
    link->message_length = record.length;
    link->message_after = record.frames;
    return 0;
}

int take_refusal(const Link *link, int length) {
    Refused refused;
    return link->attached || !read_record(link, length, &refused) ? -EPROTO : reason_of(refused);
}

int take_packet(Link *link, int length, int passed) {
    Kind kind;
    if (length < static_cast<int>(sizeof kind)) {
        return -EPROTO;
    }
    memcpy(&kind, link->packet, sizeof kind);
    link->packets += link->attached && kind != Kind::wake ? 1 : 0;
    switch (kind) {
    case Kind::welcome:
        return take_welcome(link, length, passed);
    case Kind::bell:
        return take_bell(link, length, passed);
    case Kind::arena:
        return take_arena(link, length, passed);
    case Kind::wake:
        return link->attached && length == static_cast<int>(sizeof(Wake)) ? only_a_wake : -EPROTO;
    case Kind::message:
        return keep_message(link, length);
    case Kind::refused:
        return take_refusal(link, length);
    default:
        return -EPROTO;
    }
}

/* One packet, if there is one: 0, `only_a_wake`, -EAGAIN when there is none, or an error. */
int read_packet(Link *link) {
    int passed = -1;
    int length = packet_receive(link->fd, link->packet, packet_max, &passed, false);
    if (length == -ECONNRESET) {
        // The broadcaster closed with messages unread; what it had sent before stands behind this.
        length = packet_receive(link->fd, link->packet, packet_max, &passed, false);
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
    const int result = take_packet(link, length, passed);
    if (passed >= 0) {
        close(passed); // the mapping stays
    }
    return result;
}

/* It was woken from the bell, and there is something: how long after the broadcaster rang? */
void weigh_wake_up(Link *link) {
    const LinkPage *page = link->page;
    if (page->asleep.load(std::memory_order_acquire) != awake) {
        return; // it is about to
    }
    if (rousing_time_ms() - page->roused_ms.load(std::memory_order_relaxed) > late_from_ms) {
        link->late += late_weight;
    } else if (link->late > 0) {
        --link->late;
    }
}

/* Sleeps once; whether there is anything to take then is not known. */
int sleep_once(Link *link, uint32_t timeout_ms) {
    const bool on_bell = link->bell != nullptr && !link->own_word;
    const uint32_t rung = on_bell ? link->bell->rung.load(std::memory_order_acquire) : 0;
    Word *asleep = &link->page->asleep;
    asleep->store(on_bell ? asleep_on_bell : asleep_on_word, std::memory_order_seq_cst);
    std::atomic_thread_fence(std::memory_order_seq_cst);
    int result = 0;
    if (!has_entry(link) && !has_packet(link)) {
        result = on_bell ? sleep_on(&link->bell->rung, rung, 1u << link->index, timeout_ms)
                         : sleep_on(asleep, asleep_on_word, every_bit, timeout_ms);
        const bool news = has_entry(link) || has_packet(link);
        link->false_alarms = news || result != 0 ? 0 : link->false_alarms + 1;
        if (on_bell && news && result == 0) {
            weigh_wake_up(link);
        }
        // It slept through something, or somebody rings for nothing, or holds it back.
        link->own_word |= on_bell && ((news && result == -ETIMEDOUT) ||
                                      link->false_alarms > false_alarms_most || link->late > late_most);
    }
    asleep->store(awake, std::memory_order_relaxed);
    return result;
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
    if (link->page != nullptr) {
        munmap(link->page, link_page_bytes);
    }
    if (link->bell != nullptr) {
        munmap(const_cast<Bell *>(link->bell), bell_bytes);
    }
    for (const Mapping &mapping : link->arenas) {
        if (mapping.base != nullptr) {
            munmap(const_cast<uint8_t *>(mapping.base), mapping.bytes);
        }
    }
    free(link->packet);
    memset(link, 0, sizeof *link);
    link->fd = -1;
}

int shbf_link_take(Link *link, shbf_event_t *event) {
    const bool entry = has_entry(link);
    if (link->message_waits && (!entry || static_cast<int32_t>(link->entries - link->message_after) >= 0)) {
        return take_message(link, event);
    }
    if (!entry && !has_packet(link)) {
        return -EAGAIN;
    }
    Frame frame{};
    if (entry) {
        frame = read_entry(link);
        if (link->message_waits || static_cast<int32_t>(frame.packets - link->packets) <= 0) {
            return take_frame(link, frame, event);
        }
    }
    const int result = read_packet(link);
    if (result == -EAGAIN) {
        // The broadcaster said that there was one.
        return entry ? take_frame(link, frame, event) : -EPROTO;
    }
    return result == only_a_wake ? 0 : result;
}

int shbf_link_look(Link *link, shbf_event_t *event) {
    if (link->page != nullptr) {
        link->page->asleep.store(asleep_on_socket, std::memory_order_seq_cst);
        std::atomic_thread_fence(std::memory_order_seq_cst);
    }
    if (link->message_waits || has_entry(link)) {
        return shbf_link_take(link, event);
    }
    const int result = read_packet(link);
    if (result == only_a_wake) {
        return has_entry(link) || has_packet(link) ? 0 : -EAGAIN;
    }
    return result;
}

int shbf_link_sleep(Link *link, int64_t timeout_ms) {
    const bool last = timeout_ms >= 0 && timeout_ms <= sleep_slice_ms;
    int result = sleep_once(link, last ? static_cast<uint32_t>(timeout_ms) : sleep_slice_ms);
    if (result != -ETIMEDOUT) {
        return result;
    }
    result = read_packet(link);
    if (result == -EAGAIN && last && !has_entry(link)) {
        return -ETIMEDOUT;
    }
    return result == -EAGAIN || result == only_a_wake ? 0 : result;
}

bool shbf_link_intact(const Link *link) {
    return link->page == nullptr || !given_up(link->page);
}

// What the page says of a frame is not asked: the broadcaster can write it too. The count is down before the
// broadcaster can see the word, since it may answer with an arena in this one's place.
void shbf_link_release(Link *link, const shbf_frame_t *frame) {
    uint32_t taken = frame->taking;
    if (frame->slot >= slots_max || taken == 0 ||
        !__atomic_compare_exchange_n(&link->taken[frame->slot], &taken, 0, false, __ATOMIC_ACQ_REL,
                                     __ATOMIC_RELAXED)) {
        return;
    }
    __atomic_fetch_sub(&link->arenas[frame->slot / arena_slots].held, 1, __ATOMIC_RELEASE);
    link->page->released[frame->slot].store(frame->number, std::memory_order_release);
}

int32_t shbf_link_send(const Link *link, const void *bytes, uint32_t length) {
    if (length > message_max) {
        return -EMSGSIZE;
    }
    const int result = packet_send_message(link->fd, bytes, length, 0);
    return result == -ECONNRESET ? -EPIPE : result;
}
