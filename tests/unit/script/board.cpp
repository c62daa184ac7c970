// Stand-ins for libboardav, libdevice_kitv2, libvuto_util and libvuto_statistics.

#include "libvuto_statistics.h"
#include "libvuto_util.h"
#include "script/script.h"

#include <cstdarg>
#include <cstdio>
#include <json-c/json.h>

using script::current;
using script::format;

namespace {

[[gnu::format(printf, 2, 0)]] int log_entry(const char *level, const char *text, va_list arguments) {
    char line[2048];
    vsnprintf(line, sizeof line, text, arguments);
    current().write(std::string(level) + ": " + line);
    return 1;
}

std::string describe(const VencChannel &channel) {
    return format("[pt %d reserved %d bitrate %d fps %d %dx%d]", channel.pt, channel.reserved,
                  channel.bitrate, channel.fps, channel.width, channel.height);
}

} // namespace

extern "C" {

#define SCRIPTED_LOG(name, level)                                                                            \
    int name(const char *format, ...) {                                                                      \
        va_list arguments;                                                                                   \
        va_start(arguments, format);                                                                         \
        const int result = log_entry(level, format, arguments);                                              \
        va_end(arguments);                                                                                   \
        return result;                                                                                       \
    }

SCRIPTED_LOG(log_err, "err")
SCRIPTED_LOG(log_warning, "warning")
SCRIPTED_LOG(log_info, "info")
SCRIPTED_LOG(log_debug, "debug")

int report_stat_object(const char *name, json_object *object) {
    const std::string report =
        std::string(name) + " " + json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN);
    json_object_put(object);
    current().write("report_stat_object(" + report + ")");
    return 0;
}

int32_t control_venc_dynamically(const VencConfig *config) {
    current().write(format("control_venc_dynamically(ready %d bind %d ", config->ready, config->bind_status) +
                    describe(config->channel[0]) + " " + describe(config->channel[1]) + ")");
    return current().control_venc_result;
}

int32_t board_system_init(int32_t bind_status) {
    current().write(format("board_system_init(%d)", bind_status));
    return current().board_system_init_result;
}

void board_system_exit(void) {
    current().write("board_system_exit()");
}

int32_t get_video_stream(int32_t channel, void *payload, uint32_t capacity, VideoFrameInfo *info) {
    current().write(format("get_video_stream(%d, %u)", channel, capacity));
    return current().get_video_stream(channel, static_cast<uint8_t *>(payload), capacity, info);
}

int32_t get_audio_stream(void *payload, uint32_t capacity, AudioFrameInfo *info) {
    current().write(format("get_audio_stream(%u)", capacity));
    return current().get_audio_stream(static_cast<uint8_t *>(payload), capacity, info);
}

int32_t get_jpeg_snap(void *destination, uint32_t capacity, VideoFrameInfo *info) {
    current().write(format("get_jpeg_snap(%u)", capacity));
    return current().get_jpeg_snap(static_cast<uint8_t *>(destination), capacity, info);
}

int32_t get_raw_frame(void *destination, uint32_t capacity, RawFrameInfo *info, int32_t bound) {
    current().write(format("get_raw_frame(%u, %d)", capacity, bound));
    return current().get_raw_frame(static_cast<uint8_t *>(destination), capacity, info);
}

uint32_t vuto_round(uint32_t value, uint32_t alignment) {
    return (value + alignment - 1) / alignment * alignment;
}

int32_t req_IDR_one(int32_t channel) {
    current().write(format("req_IDR_one(%d)", channel));
    return 0;
}

int32_t req_IDR(void) {
    current().write("req_IDR()");
    return 0;
}

int32_t get_deviceType_by_sensor(int32_t *flag_300) {
    current().write("get_deviceType_by_sensor()");
    if (current().device_type_result == 0) {
        *flag_300 = current().flag_300;
    }
    return current().device_type_result;
}

/* Good enough to read the texts of the tests: the real parser has tests of its own. */
int32_t hot_config_str_to_object(const char *text, HotConfigObject *object) {
    current().write(std::string("hot_config_str_to_object(") + text + ")");
    HotConfigObject read{};
    const int fields = sscanf(
        text,
        "{\"id\":%d,\"icon\":%d,\"cch\":%d,\"pt\":[%d,%d],\"bps\":[%d,%d],\"fps\":[%d,%d],\"res\":[%d,%d]}",
        &read.id, &read.icon, &read.cch, &read.pt[0], &read.pt[1], &read.bps[0], &read.bps[1], &read.fps[0],
        &read.fps[1], &read.res[0], &read.res[1]);
    if (fields != 11) {
        return -1;
    }
    if (current().profile_result != 0) {
        return current().profile_result;
    }
    *object = read;
    return 0;
}

} // extern "C"
