// Stand-ins for libav_cmd.

#include "libav_cmd.h"
#include "script/script.h"

using script::current;
using script::format;

extern "C" {

int32_t av_cmd_parse(int32_t fd, const void *bytes, int32_t length, av_cmd_handler_t handler) {
    current().write(format("av_cmd_parse(%d, %d)", fd, length));
    return current().av_cmd_parse(
        fd, std::string(static_cast<const char *>(bytes), static_cast<size_t>(length)), handler);
}

int32_t send_av_cmd_ack(int32_t fd, uint32_t code, int32_t result, const void *data, uint32_t length) {
    std::string content = data == nullptr ? "null, " : "";
    for (uint32_t i = 0; data != nullptr && i < length; ++i) {
        content += format("%02x", static_cast<const uint8_t *>(data)[i]);
    }
    current().write(format("send_av_cmd_ack(%d, 0x%x, %d, ", fd, code, result) + content +
                    (data == nullptr ? std::to_string(length) : "") + ")");
    const auto planned = current().results.find("send_av_cmd_ack");
    return planned == current().results.end() ? 0 : planned->second;
}

} // extern "C"
