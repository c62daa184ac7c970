/*
 * What the two ends of the command socket say to each other: docs/formats/av-commands.md shows the bytes.
 *
 * A stream of commands runs to the daemon, a stream of acknowledgements back. Each begins with a header;
 * `length` bytes of payload or data follow. All words are little-endian, as the payloads are.
 */
#ifndef AV_CMD_WIRE_H
#define AV_CMD_WIRE_H

#include "libav_cmd.h"
#include "libav_cmd_client.h"

#include <stddef.h>
#include <stdint.h>

namespace av_cmd {

/* "AVcm" and "AVak" as bytes on the wire. Their letters after the first are not 'A', so that a search for the
 * next one needs to look at each byte once. */
constexpr uint32_t command_magic = 0x6d635641;
constexpr uint32_t ack_magic = 0x6b615641;

struct CommandHeader {
    uint32_t magic;
    uint32_t code;
    uint32_t length; /* of the payload, 0 to AV_CMD_DATA_MAX; a header with more is none */
};

struct AckHeader {
    uint32_t magic;
    uint32_t code; /* as a rule that of the command, plus one */
    int32_t result;
    uint32_t length; /* of the data, 0 to AV_CMD_DATA_MAX; a header with more is none */
};

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the records go out as they lie in memory");
static_assert(sizeof(CommandHeader) == 12, "");
static_assert(offsetof(CommandHeader, code) == 4, "");
static_assert(offsetof(CommandHeader, length) == 8, "");
static_assert(sizeof(AckHeader) == 16, "");
static_assert(offsetof(AckHeader, code) == 4, "");
static_assert(offsetof(AckHeader, result) == 8, "");
static_assert(offsetof(AckHeader, length) == 12, "");

/* The daemon's receive buffer: what does not fit in it never becomes a command there. */
constexpr size_t daemon_buffer_bytes = 512;
static_assert(AV_CMD_PAYLOAD_MAX + sizeof(CommandHeader) == daemon_buffer_bytes, "");
static_assert(AV_CMD_PAYLOAD_READABLE <= AV_CMD_DATA_MAX, "");

} // namespace av_cmd

#endif
