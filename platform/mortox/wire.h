/*
 * What libmortox and mortoxd say to each other: one packet of a SOCK_SEQPACKET Unix socket is one message.
 * The format, with a worked example, is described in docs/formats/settings-store.md.
 *
 * A client sends requests, each with a number of its choice (not 0), one after the other. The store answers
 * each with any number of items (`list`, `namespaces`) and then one `answer`, all of which carry the
 * request's number. `change` packets carry number 0 and come at any time, on a connection that has sent a
 * `watch`.
 *
 * Threads: any; nothing here keeps state. Both sides use it: it knows neither sockets nor the heap.
 */
#ifndef MORTOX_WIRE_H
#define MORTOX_WIRE_H

#include <stddef.h>
#include <stdint.h>

namespace wire {

constexpr char socket_path[] = "/run/mortoxd";

constexpr uint16_t magic = 0x584d; // "MX"
constexpr uint8_t version = 1;

constexpr size_t name_max_bytes = 63; // namespace, section, key
constexpr size_t value_max_bytes = 8191;

/*
 * The start of every packet, little-endian. Four texts follow it: namespace, section, key, value, each with a
 * terminating zero byte that its length does not count. A text that a message does not need is empty, so that
 * a packet always has four terminators.
 */
struct Header {
    uint16_t magic;
    uint8_t version;
    uint8_t type;       // Type
    uint32_t request;   // the request's number; 0 in a change
    uint8_t status;     // Status; 0 in a request
    uint8_t value_type; // ValueType
    uint8_t flags;      // persistent_flag or 0
    uint8_t name_space_bytes;
    uint8_t section_bytes;
    uint8_t key_bytes;
    uint16_t value_bytes;
};

static_assert(sizeof(Header) == 16, "the header is 16 bytes on every machine");
static_assert(offsetof(Header, magic) == 0 && offsetof(Header, version) == 2 && offsetof(Header, type) == 3,
              "layout of the header");
static_assert(offsetof(Header, request) == 4 && offsetof(Header, status) == 8 &&
                  offsetof(Header, value_type) == 9 && offsetof(Header, flags) == 10,
              "layout of the header");
static_assert(offsetof(Header, name_space_bytes) == 11 && offsetof(Header, section_bytes) == 12 &&
                  offsetof(Header, key_bytes) == 13 && offsetof(Header, value_bytes) == 14,
              "layout of the header");

constexpr size_t packet_max_bytes = sizeof(Header) + 3 * (name_max_bytes + 1) + value_max_bytes + 1;
static_assert(packet_max_bytes == 8400, "what a receiver has to be ready for");

enum class Type : uint8_t {
    hello = 1,      // answered when the store is there
    get = 2,        // answered with the value or none
    set = 3,        // carries the value
    remove = 4,     //
    list = 5,       // an empty section means all
    namespaces = 6, //
    watch = 7,      // answered with the value that the key has at this moment
    answer = 16, // ends a request; carries the value, or for a status other than ok a sentence that says why
    item = 17,   // one setting of a list, or one namespace
    change = 18  // a write to a watched key
};

enum class Status : uint8_t {
    ok = 0,
    bad_request = 1,  // breaks the format or a limit
    no_namespace = 2, //
    storage = 3       // the store cannot read or write: disk full, damage
};

/* The same numbers as XDATA_NONE and XDATA_TEXT. */
enum class ValueType : uint8_t { none = 0, text = 1 };

constexpr uint8_t persistent_flag = 1; // in an item of `namespaces`

/*
 * A message in a form to work with. The texts are zero-terminated and never null after decode(), where they
 * point into the packet; for encode() null stands for empty.
 */
struct Message {
    Type type;
    Status status;
    ValueType value_type;
    uint8_t flags;
    uint32_t request;
    const char *name_space;
    const char *section;
    const char *key;
    const char *value;
};

/*
 * Writes a packet into `packet`, which has room for packet_max_bytes. Result: its size, or 0 when a text is
 * longer than its limit (nothing useful is in `packet` then).
 */
size_t encode(const Message &message, uint8_t *packet);

/*
 * Reads a packet, which may be anything. Result: null when `message` is valid, which then lives as long as
 * the packet; otherwise a constant sentence that says what is wrong, with only `message->request` set: to the
 * number of the request if that could be read, else 0. What a type requires of names and value is the
 * receiver's to check.
 */
const char *decode(const uint8_t *packet, size_t bytes, Message *message);

/*
 * The limits of names and values, as both sides check them. Result: true when kept; otherwise a sentence that
 * begins with `what` ("the key") is in `error`. Null is not a name and not a value.
 */
bool check_name(const char *what, const char *name, char *error, size_t error_bytes);
bool check_value(const char *value, char *error, size_t error_bytes);

} // namespace wire

#endif
