// The stream of AV commands (libav_cmd.h): whatever arrives, in whatever pieces, the same commands come out,
// and no handler is given bytes that are not its.

#include "fuzz.h"
#include "libav_cmd.h"

#include <vector>

namespace {

using Commands = std::vector<std::vector<uint8_t>>;

Commands *heard;

int32_t hear(int32_t fd, const void *payload, uint32_t code) {
    const uint8_t *bytes = static_cast<const uint8_t *>(payload);
    fuzz::must(reinterpret_cast<uintptr_t>(payload) % 4 == 0, "a payload is aligned for words");
    std::vector<uint8_t> command(bytes, bytes + AV_CMD_PAYLOAD_READABLE);
    command.push_back(static_cast<uint8_t>(fd));
    for (int shift = 0; shift < 32; shift += 8) {
        command.push_back(static_cast<uint8_t>(code >> shift));
    }
    heard->push_back(command);
    return 0;
}

/* Feeds the bytes in pieces, as the daemon does: what is not consumed is there again, with what follows. */
Commands feed(const std::vector<uint8_t> &bytes, size_t piece) {
    Commands commands;
    heard = &commands;
    std::vector<uint8_t> buffer;
    for (size_t at = 0; at < bytes.size(); at += piece) {
        const size_t end = at + piece < bytes.size() ? at + piece : bytes.size();
        buffer.insert(buffer.end(), bytes.begin() + static_cast<long>(at),
                      bytes.begin() + static_cast<long>(end));
        buffer.shrink_to_fit();
        const int32_t consumed = av_cmd_parse(7, buffer.data(), static_cast<int32_t>(buffer.size()), hear);
        fuzz::must(consumed >= 0 && static_cast<size_t>(consumed) <= buffer.size(),
                   "no more is consumed than came");
        buffer.erase(buffer.begin(), buffer.begin() + consumed);
    }
    // Asked again without more bytes, it has nothing more to say.
    const size_t count = commands.size();
    const int32_t consumed = av_cmd_parse(7, buffer.data(), static_cast<int32_t>(buffer.size()), hear);
    fuzz::must(consumed == 0 && commands.size() == count, "what is left is no complete command");
    return commands;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t length) {
    if (length < 2 || length > 2 * AV_CMD_DATA_MAX) {
        return 0;
    }
    const std::vector<uint8_t> stream(bytes + 1, bytes + length);
    const Commands at_once = feed(stream, stream.size());
    const Commands in_pieces = feed(stream, static_cast<size_t>(bytes[0]) % 100 + 1);
    fuzz::must(at_once == in_pieces, "the same commands however the stream is cut");
    return 0;
}
