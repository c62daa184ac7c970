#include "av_cmd/stream.h"
#include "av_cmd/wire.h"
#include "export.h"

#include <errno.h>
#include <string.h>

namespace av_cmd {

namespace {

/* How many bytes at the front belong to no command: up to the next magic, or to what may become one. */
size_t garbage_length(const uint8_t *bytes, size_t length) {
    size_t at = 0;
    while (at < length) {
        const void *found = memchr(bytes + at, static_cast<int>(command_magic & 0xff), length - at);
        if (found == nullptr) {
            return length;
        }
        at = static_cast<size_t>(static_cast<const uint8_t *>(found) - bytes);
        const size_t rest = length - at;
        if (memcmp(bytes + at, &command_magic, rest < sizeof command_magic ? rest : sizeof command_magic) ==
            0) {
            return at;
        }
        ++at;
    }
    return length;
}

/* The bytes in the stream lie anywhere and end anywhere; a handler gets them aligned, with zeros behind. */
void run(int32_t fd, const CommandHeader &header, const uint8_t *bytes, av_cmd_handler_t handler) {
    alignas(8) uint8_t payload[AV_CMD_DATA_MAX];
    memcpy(payload, bytes, header.length);
    if (header.length < AV_CMD_PAYLOAD_READABLE) {
        memset(payload + header.length, 0, AV_CMD_PAYLOAD_READABLE - header.length);
    }
    handler(fd, payload, header.code);
}

size_t parse(int32_t fd, const uint8_t *bytes, size_t length, av_cmd_handler_t handler) {
    size_t at = 0;
    for (;;) {
        at += garbage_length(bytes + at, length - at);
        CommandHeader header;
        if (length - at < sizeof header) {
            return at;
        }
        memcpy(&header, bytes + at, sizeof header);
        if (header.length > AV_CMD_DATA_MAX) {
            ++at; // whatever begins here is no command; the next may be in what looks like its header
            continue;
        }
        if (length - at - sizeof header < header.length) {
            return at;
        }
        run(fd, header, bytes + at + sizeof header, handler);
        at += sizeof header + header.length;
    }
}

} // namespace

} // namespace av_cmd

PLATFORM_API int32_t av_cmd_parse(int32_t fd, const void *bytes, int32_t length, av_cmd_handler_t handler) {
    if (length <= 0) {
        return 0;
    }
    return static_cast<int32_t>(
        av_cmd::parse(fd, static_cast<const uint8_t *>(bytes), static_cast<size_t>(length), handler));
}

PLATFORM_API int32_t send_av_cmd_ack(int32_t fd, uint32_t code, int32_t result, const void *data,
                                     uint32_t length) {
    if (length > AV_CMD_DATA_MAX) {
        return -EMSGSIZE;
    }
    if (data == nullptr && length > 0) {
        return -EINVAL;
    }
    const av_cmd::AckHeader header = {av_cmd::ack_magic, code, result, length};
    return av_cmd::send_whole(fd, &header, sizeof header, data, length);
}
