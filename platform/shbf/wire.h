/*
 * What travels between a broadcaster and its receivers: packets on a SOCK_SEQPACKET socket, and the link
 * page, memory that one receiver and the broadcaster share.
 *
 * All words are in the machine's byte order: both ends are on one machine. Every packet begins with its kind,
 * and has exactly the size of its record (a Message: its record and then its bytes). docs/formats/channels.md
 * shows the bytes of each.
 *
 *     receiver                                      broadcaster
 *        | -- connect ------------------------------> |
 *        | -- Hello --------------------------------> |
 *        | <- Welcome + descriptor of its link page - |      or Refused, or (role query) Info
 *        | <- Bell + descriptor of the bell --------- |      once, before the first Arena
 *        | <- Arena + descriptor of the arena ------- |      before the first frame in it
 *        | <= frame: an entry of the ring =========== |      no packet
 *        | == release: one word of the table =======> |      no packet
 *        | <- Wake ---------------------------------- |      only to a receiver that sleeps in poll
 *        | <- Message ------------------------------> |      both ways
 */
#ifndef SHBF_WIRE_H
#define SHBF_WIRE_H

#include <atomic>
#include <errno.h>
#include <stddef.h>
#include <stdint.h>

namespace shbf {

constexpr uint32_t wire_magic = 0x46424853; // "SHBF"
constexpr uint32_t wire_version = 2;

/* Most receivers of one channel: the holders of a buffer are the bits of a word. */
constexpr uint32_t receivers_max = 32;
/* Arenas of one channel at one time: what is allocated from, and the one before, until it is empty. */
constexpr uint32_t arenas_max = 2;
/* Most buffers of one arena that are not free at one time. */
constexpr uint32_t arena_slots = 128;
/* Slots of one channel. Arena n has those from (n % arenas_max) * arena_slots. */
constexpr uint32_t slots_max = arenas_max * arena_slots;
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
    wake = 5,
    message = 6,
    info = 7,
    bell = 8,
    access = 9,
};

enum class Role : uint32_t { receiver = 0, query = 1, access = 2 };

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
    uint32_t index; // the receiver's bit, when it sleeps on the bell
};

struct Refused {
    Kind kind;
    int32_t error; // an errno value
};

/* What a refusal comes to, negative. It may be anything: what is no errno value, or one by which receivers
 * say that nothing has happened yet, is an error of protocol. */
inline int reason_of(const Refused &refused) {
    constexpr int32_t errno_max = 4095;
    const bool sound = refused.kind == Kind::refused && refused.error > 0 && refused.error <= errno_max &&
                       refused.error != EAGAIN && refused.error != EINTR;
    return sound ? -refused.error : -EPROTO;
}

struct ArenaPacket {
    Kind kind;
    uint32_t size;  // bytes
    uint32_t arena; // its number; takes the place of number - arenas_max, which is empty
};

struct BellPacket {
    Kind kind;
};

struct Wake {
    Kind kind;
};

struct Message {
    Kind kind;
    uint32_t length; // bytes behind this record
    uint32_t frames; // from the broadcaster: how many ring entries come before this message; else 0
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
              sizeof(ArenaPacket) == 12 && sizeof(BellPacket) == 4 && sizeof(Wake) == 4 &&
              sizeof(Message) == 12 && sizeof(Info) == 32);

/* The largest packet. */
constexpr size_t packet_max = sizeof(Message) + message_max;

/* A frame, as an entry of the ring describes it. */
struct Frame {
    uint32_t offset;   // of the first byte, in the arena
    uint32_t size;     // valid bytes
    uint32_t slot;     // which word of the release table
    uint32_t sequence; // what to write there; counts what the channel published
    uint32_t skipped;  // counts what this receiver missed
    uint32_t packets;  // how many packets behind Welcome come before this frame; Wakes do not count
    uint32_t arena;    // number of the arena
    uint32_t reserved;
};
constexpr uint32_t frame_words = 8;
static_assert(sizeof(Frame) == frame_words * sizeof(uint32_t) && offsetof(Frame, sequence) == 12 &&
              offsetof(Frame, packets) == 20);

/* Entries of the ring: a receiver has at most window_max frames that it has not released, so none that it has
 * not taken is ever overwritten. */
constexpr uint32_t ring_entries = window_max;
static_assert((ring_entries & (ring_entries - 1)) == 0);

/* How a receiver sleeps, and so how it is woken. */
constexpr uint32_t awake = 0;
constexpr uint32_t asleep_on_word = 1;   // FUTEX_WAIT on LinkPage::asleep
constexpr uint32_t asleep_on_socket = 2; // poll: a Wake packet
constexpr uint32_t asleep_on_bell = 3;   // FUTEX_WAIT_BITSET on the bell, with the bit of its index

using Word = std::atomic<uint32_t>;
static_assert(sizeof(Word) == 4);

/*
 * What one receiver and the broadcaster share, in a memory file that nobody else maps; at first all 0 but
 * `asleep`, which is asleep_on_socket.
 *
 * `released`: a receiver gives a frame back by storing the frame's sequence in the word of the frame's slot
 * (release order). The broadcaster compares (acquire order) and believes nothing else, so whatever a receiver
 * writes there can only give back what it was sent itself: a wrong value, a second release or a release of
 * somebody else's frame matches nothing.
 *
 * `asleep`: a receiver that found nothing says how it is going to sleep, and then looks at `pushed` and
 * `packets` once more. The broadcaster, after it has changed one of them, looks at `asleep`; when it is not
 * `awake`, makes it so, and wakes the receiver; but a packet itself wakes who sleeps on the socket. Between
 * write and look each side has a full fence, so one of them sees the other's. Who is awake, or is being
 * woken, costs no system call.
 *
 * What the broadcaster writes it never reads again, so what a receiver scribbles there harms only itself.
 * Words that different sides write are in cache lines of their own.
 */
struct LinkPage {
    // written by the receiver
    Word released[slots_max];
    alignas(64) Word asleep; // also by the broadcaster, when it wakes it
    // written by the broadcaster
    alignas(64) Word pushed; // entries of the ring so far; entry n is ring[n % ring_entries]; wraps
    Word packets;            // packets sent so far behind Welcome, Wakes not counted; wraps
    Word given_up;           // not 0 before anything that this receiver held is written again
    Word roused_ms;          // CLOCK_MONOTONIC when it was last woken from the bell; wraps
    alignas(64) Word ring[ring_entries][frame_words];
};
static_assert(sizeof(LinkPage) == 3200 && offsetof(LinkPage, asleep) == 1024 &&
              offsetof(LinkPage, pushed) == 1088 && offsetof(LinkPage, ring) == 1152);
constexpr uint32_t link_page_bytes = sizeof(LinkPage);

/*
 * The bell: a word of a memory file that every receiver maps, read-only. The broadcaster counts it up and
 * wakes those whose bits it names, all with one system call, before any of them runs.
 *
 * It is the only thing that receivers share, and the kernel lets whoever can read a word move those who wait
 * on it elsewhere (FUTEX_REQUEUE), or wake them for nothing. So a receiver that has slept through something
 * there, or is woken again and again for nothing or too late (LinkPage::roused_ms), sleeps on its own word
 * from then on: what others can do to it is one delay of sleep_slice_ms, and a few shorter ones.
 */
struct Bell {
    Word rung;
};
constexpr uint32_t bell_bytes = sizeof(Bell);

/* Has the receiver been given up? What was read from a frame before this call, and only that, was whole if
 * the answer is no. */
inline bool given_up(const LinkPage *page) {
    std::atomic_thread_fence(std::memory_order_acquire);
    return page->given_up.load(std::memory_order_relaxed) != 0;
}

} // namespace shbf

#endif
