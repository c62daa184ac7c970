/*
 * What travels between a broadcaster and its receivers: packets on a SOCK_SEQPACKET socket, and the release
 * table.
 *
 * All words are in the machine's byte order: both ends are on one machine. Every packet begins with its kind,
 * and has exactly the size of its record (a Message: its record and then its bytes). docs/formats/channels.md
 * shows the bytes of each.
 *
 *     receiver                                      broadcaster
 *        | -- connect ------------------------------> |
 *        | -- Hello --------------------------------> |
 *        | <- Welcome + descriptor of its own table - |      or Refused, or (role query) Info
 *        | <- Arena + descriptor of the arena ------- |      once, before the first Frame
 *        | <- Frame, Frame, Message ... ------------- |
 *        | -- Message ------------------------------> |
 *        | == release: one word in its table =======> |      no packet
 */
#ifndef SHBF_WIRE_H
#define SHBF_WIRE_H

#include <atomic>
#include <stddef.h>
#include <stdint.h>

namespace shbf {

constexpr uint32_t wire_magic = 0x46424853; // "SHBF"
constexpr uint32_t wire_version = 1;

/* Most receivers of one channel: the holders of a buffer are the bits of a word. */
constexpr uint32_t receivers_max = 32;
/* Most buffers of one channel that are not free at one time. */
constexpr uint32_t slots_max = 256;
/* Most frames on their way to, or held by, one receiver. */
constexpr uint32_t window_max = 64;
constexpr uint32_t window_default = 32;
constexpr uint32_t message_max = 65536;
/* How long a receiver may leave a frame unreleased while memory is short. */
constexpr uint32_t hold_limit_ms = 1000;

enum class Kind : uint32_t {
    hello = 1,
    welcome = 2,
    refused = 3,
    arena = 4,
    frame = 5,
    message = 6,
    info = 7,
};

enum class Role : uint32_t { receiver = 0, query = 1 };

struct Hello {
    Kind kind;
    uint32_t magic;
    uint32_t version;
    Role role;
    uint32_t window; // 0: the default
    uint32_t reserved;
};

struct Welcome {
    Kind kind;
    uint32_t magic;
    uint32_t version;
    int32_t receiver;
    uint32_t slots; // words in the release table
    uint32_t index; // which word of the arena's head tells of this receiver
};

struct Refused {
    Kind kind;
    int32_t error; // an errno value
};

struct ArenaPacket {
    Kind kind;
    uint32_t size; // bytes
};

struct Frame {
    Kind kind;
    uint32_t offset;   // of the first byte, in the arena
    uint32_t size;     // valid bytes
    uint32_t slot;     // which word of the release table
    uint32_t sequence; // what to write there
    uint32_t number;   // counts what the channel published
    uint32_t skipped;  // counts what this receiver missed
    uint32_t reserved;
};

struct Message {
    Kind kind;
    uint32_t length; // bytes behind this record
};

struct Info {
    Kind kind;
    uint32_t receivers;
    uint32_t published;
    uint32_t skipped;
    uint32_t arena_bytes;
    uint32_t arena_used;
    uint32_t buffers;
    int32_t pid;
};

static_assert(sizeof(Hello) == 24 && sizeof(Welcome) == 24 && sizeof(Refused) == 8 &&
              sizeof(ArenaPacket) == 8 && sizeof(Frame) == 32 && sizeof(Message) == 8 && sizeof(Info) == 32);
static_assert(offsetof(Frame, slot) == 12 && offsetof(Frame, sequence) == 16 &&
              offsetof(Frame, skipped) == 24);

/* The largest packet. */
constexpr size_t packet_max = sizeof(Message) + message_max;

/*
 * The release table, one for each receiver, in a memory file that only this receiver and the broadcaster map:
 * `slots_max` words, at first 0. A receiver gives a frame back by storing the frame's sequence in the word
 * of the frame's slot (release order). The broadcaster compares (acquire order) and believes nothing else, so
 * whatever a receiver writes there can only give back what it was sent itself: a wrong value, a second
 * release or a release of somebody else's frame matches nothing.
 */
using ReleaseWord = std::atomic<uint32_t>;
static_assert(sizeof(ReleaseWord) == 4);
constexpr size_t release_table_bytes = slots_max * sizeof(ReleaseWord);

/*
 * The first bytes of the arena. When the broadcaster gives up a receiver, whatever for, it stores that
 * receiver's id in the word of its index before anything that the receiver held is written again. Ids only
 * grow, so a receiver is given up when its word is its own id or a later one.
 */
struct ArenaHead {
    std::atomic<int32_t> given_up[receivers_max];
};
static_assert(sizeof(ArenaHead) == 128);

/* Has the receiver been given up? What was read from a frame before this call, and only that, was whole if
 * the answer is no. */
inline bool given_up(const ArenaHead *head, uint32_t index, int32_t id) {
    std::atomic_thread_fence(std::memory_order_acquire);
    return head->given_up[index].load(std::memory_order_relaxed) >= id;
}

} // namespace shbf

#endif
