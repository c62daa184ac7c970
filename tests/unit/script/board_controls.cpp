// Stand-ins for the calls of libboardav that only tell the board something: each is journalled with its
// arguments and answers what the script has for its name.

#include "script/script.h"

#include <cstring>

using script::answer;
using script::current;
using script::format;

namespace {

std::string hexadecimal(const void *bytes, size_t count) {
    std::string result;
    for (size_t i = 0; i < count; ++i) {
        result += format("%02x", static_cast<const uint8_t *>(bytes)[i]);
    }
    return result;
}

/* A record of the board's: 1, 2, 3 ... */
void fill(void *record, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        static_cast<uint8_t *>(record)[i] = static_cast<uint8_t>(i + 1);
    }
}

} // namespace

extern "C" {

#define SCRIPTED_CALL(name)                                                                                  \
    int32_t name(void) {                                                                                     \
        return answer(#name, "");                                                                            \
    }
#define SCRIPTED_CALL_WITH_NUMBER(name, number)                                                              \
    int32_t name(int32_t number) {                                                                           \
        return answer(#name, std::to_string(number));                                                        \
    }

SCRIPTED_CALL(stop_stream)
SCRIPTED_CALL(start_stream)
SCRIPTED_CALL(enable_speaker)
SCRIPTED_CALL(disable_speaker)
SCRIPTED_CALL(enable_aec)
SCRIPTED_CALL(disable_aec)
SCRIPTED_CALL(set_speaker_talking_vol)
SCRIPTED_CALL(set_speaker_vol_default)
SCRIPTED_CALL(enable_wdr)
SCRIPTED_CALL(disable_wdr)
SCRIPTED_CALL(set_video_Vflip)
SCRIPTED_CALL(set_video_normal)
SCRIPTED_CALL(enable_osd)
SCRIPTED_CALL(disable_osd)
SCRIPTED_CALL(osd_destory_track)
SCRIPTED_CALL(start_md)
SCRIPTED_CALL(stop_md)
SCRIPTED_CALL_WITH_NUMBER(switch_ch5_res, bound)
SCRIPTED_CALL_WITH_NUMBER(set_speaker_vol, volume)
SCRIPTED_CALL_WITH_NUMBER(set_video_flicker, hz)
SCRIPTED_CALL_WITH_NUMBER(set_isp_dnmode, mode)
SCRIPTED_CALL_WITH_NUMBER(control_ir_lamp, value)
SCRIPTED_CALL_WITH_NUMBER(osd_update_timestamp, region_code)
SCRIPTED_CALL_WITH_NUMBER(set_lsd_threshold, threshold)

int32_t osd_display_track(int32_t a, int32_t b, int32_t c, int32_t d) {
    return answer("osd_display_track", format("%d, %d, %d, %d", a, b, c, d));
}

int32_t play_sound(const void *bytes, int32_t length) {
    return answer("play_sound", std::string(static_cast<const char *>(bytes), static_cast<size_t>(length)));
}

int32_t get_isp_dnmode(int32_t *mode) {
    if (current().results.count("mode") > 0) {
        *mode = current().results["mode"];
    }
    return answer("get_isp_dnmode", "");
}

int32_t get_isp_ev(void *record) {
    fill(record, ISP_EV_BYTES);
    return answer("get_isp_ev", "");
}

int32_t get_isp_wb(void *record) {
    fill(record, ISP_WB_BYTES);
    return answer("get_isp_wb", "");
}

int32_t set_isp_wb(const void *record) {
    return answer("set_isp_wb", hexadecimal(record, ISP_WB_BYTES));
}

int32_t control_bitrate(const BitrateControl *record) {
    return answer("control_bitrate", hexadecimal(record, sizeof *record));
}

int32_t set_md_sense(intptr_t value, int32_t count) {
    constexpr int32_t count_of_a_number = 4; // `value` is the sensitivity, otherwise the address of several
    if (count == count_of_a_number) {
        return answer("set_md_sense", std::to_string(value) + ", 4");
    }
    std::string numbers;
    for (int32_t i = 0; i < count; ++i) {
        numbers += std::to_string(reinterpret_cast<const int32_t *>(value)[i]) + " ";
    }
    return answer("set_md_sense", numbers + std::to_string(count));
}

int32_t set_board_param(uint32_t code, const void *payload) {
    return answer("set_board_param", format("0x%x, ", code) + hexadecimal(payload, 4));
}

} // extern "C"
