#include "control/av_dispatch.h"

#include "image/isp_dnmode.h"
#include "libav_cmd.h"
#include "libvuto_util.h"
#include "settings/device_status.h"

#include <string.h>

namespace {

struct Command {
    int32_t fd;
    const void *payload;
    uint32_t code;
};

int32_t word(const Command &command, size_t index) {
    int32_t value = 0;
    memcpy(&value, static_cast<const uint8_t *>(command.payload) + index * sizeof value, sizeof value);
    return value;
}

// ---- what commands do: each gives the result that the row's acknowledgement, or the dispatcher, passes on;
// 0 where nobody looks at what the board says ----

int32_t nothing(const Command & /*command*/) {
    return 0;
}

int32_t refuse(const Command & /*command*/) {
    return -1;
}

template <int32_t (*board_call)()>
int32_t call(const Command & /*command*/) {
    return board_call();
}

template <int32_t (*board_call)(int32_t)>
int32_t call_with_word(const Command &command) {
    return board_call(word(command, 0));
}

template <int32_t (*board_call)(), uint8_t shown>
int32_t show_watermark(const Command & /*command*/) {
    const int32_t result = board_call();
    device_status.watermark = shown;
    return result;
}

int32_t set_md_sensitivity(const Command &command) {
    constexpr int32_t regions = 32;
    constexpr uint32_t ack_md_sensitivity = 0x1002;
    int32_t values[regions];
    for (int32_t i = 0; i < regions; ++i) {
        values[i] = static_cast<const uint8_t *>(command.payload)[i];
    }
    const int32_t result = set_md_sense(reinterpret_cast<intptr_t>(values), regions);
    send_av_cmd_ack(command.fd, ack_md_sensitivity, result, nullptr, 0);
    return 0;
}

int32_t answer_dnmode(const Command &command) {
    get_dnmode_ack(command.fd);
    return 0;
}

int32_t start_dnmode(const Command &command) {
    set_isp_dnmode_thread(word(command, 0));
    return 0;
}

/* Answers with a record of the board's, whatever the board says. */
template <int32_t (*board_call)(void *), uint32_t bytes, uint32_t ack>
int32_t answer_record(const Command &command) {
    alignas(8) uint8_t record[bytes] = {}; // the board may fill it in as a structure of its own
    const int32_t result = board_call(record);
    send_av_cmd_ack(command.fd, ack, result, record, sizeof record);
    return 0;
}
constexpr auto get_ev_ack = answer_record<get_isp_ev, ISP_EV_BYTES, 0x101b>;
constexpr auto get_wb_ack = answer_record<get_isp_wb, ISP_WB_BYTES, 0x101f>;

int32_t set_white_balance(const Command &command) {
    return set_isp_wb(command.payload);
}

int32_t set_bitrate(const Command &command) {
    BitrateControl record;
    memcpy(&record, command.payload, sizeof record);
    return control_enc_bitrate(&record);
}

int32_t show_track(const Command &command) {
    osd_display_track(word(command, 0), word(command, 1), word(command, 2), word(command, 3));
    return 0;
}

int32_t hide_track(const Command & /*command*/) {
    osd_destory_track();
    return 0;
}

int32_t pass_to_board(const Command &command) {
    set_board_param(command.code, command.payload);
    return 0;
}

// ---- the table ----

struct Row {
    uint32_t code;
    uint32_t ack; // sent by the dispatcher with the result, and no data; 0: not sent, or sent by the command
    int (*log)(const char *format, ...);
    const char *text; // null: nothing is logged
    int32_t (*perform)(const Command &command);
};

constexpr Row rows[] = {
    {0x1001, 0, nullptr, nullptr, set_md_sensitivity}, // sends 0x1002
    {0x1003, 0, nullptr, nullptr, nothing},
    {0x1005, 0x1006, nullptr, nullptr, call<start_md>},
    {0x1007, 0x1008, nullptr, nullptr, call<stop_md>},
    {0x1009, 0x100a, log_debug, "enable osd\n", show_watermark<enable_osd, 1>},
    {0x100b, 0x100c, log_debug, "disable osd\n", show_watermark<disable_osd, 0>},
    {0x100d, 0x100e, log_info, "enable wdr\n", call<enable_wdr>},
    {0x100f, 0x1010, log_info, "disable_wdr\n", call<disable_wdr>},
    {0x1011, 0x1012, log_debug, "enable Vfilp\n", call<set_video_Vflip>},
    {0x1013, 0x1014, log_debug, "disable Vfilp\n", call<set_video_normal>},
    {0x1016, 0, nullptr, nullptr, answer_dnmode}, // sends 0x1017
    {0x1018, 0x1019, nullptr, nullptr, start_dnmode},
    {0x101a, 0, nullptr, nullptr, get_ev_ack}, // sends 0x101b
    {0x101e, 0, nullptr, nullptr, get_wb_ack}, // sends 0x101f
    {0x1020, 0x1021, nullptr, nullptr, set_white_balance},
    {0x1022, 0, nullptr, nullptr, call_with_word<set_speaker_vol>},
    {0x1023, 0, nullptr, nullptr, call<set_speaker_talking_vol>},
    {0x1024, 0, nullptr, nullptr, call<set_speaker_vol_default>},
    {0x1025, 0x1026, log_debug, "set bitrate\n", set_bitrate},
    {0x1027, 0x1028, log_debug, "control ircut\n", call_with_word<control_ir_lamp>},
    {0x1029, 0x102a, log_debug, "motor move\n", nothing},
    {0x102b, 0x102c, nullptr, nullptr, show_track},
    {0x102d, 0x102e, log_debug, "track stop\n", hide_track},
    {0x1031, 0, nullptr, nullptr, nothing},
    {0x1033, 0, nullptr, nullptr, nothing},
    {0x1035, 0, nullptr, nullptr, nothing},
    {0x1037, 0, nullptr, nullptr, refuse},
};

constexpr Row every_other_code = {0, 0, nullptr, nullptr, pass_to_board};

const Row &row_of(uint32_t code) {
    for (const Row &row : rows) {
        if (row.code == code) {
            return row;
        }
    }
    return every_other_code;
}

// ---- bit rates ----

struct Range {
    size_t word;
    uint32_t min;
    uint32_t max;
};

// In the order in which a record out of range is logged.
constexpr Range bitrate_ranges[] = {{6, 0, 1},        {0, 0, 3},  {3, 10, 100},
                                    {1, 10, 8000000}, {4, 1, 51}, {5, 1, 51}};

} // namespace

int32_t av_cmd_dispatch(int32_t fd, const void *payload, uint32_t code) {
    const Row &row = row_of(code);
    if (row.text != nullptr) {
        row.log("%s", row.text); // a format that is no literal cannot be checked
    }
    const int32_t result = row.perform({fd, payload, code});
    return row.ack == 0 ? result : send_av_cmd_ack(fd, row.ack, result, nullptr, 0);
}

int32_t control_enc_bitrate(const BitrateControl *record) {
    uint32_t words[sizeof *record / sizeof(uint32_t)];
    memcpy(words, record, sizeof words);
    bool good = true;
    int logged[sizeof bitrate_ranges / sizeof bitrate_ranges[0]];
    size_t next = 0;
    for (const Range &range : bitrate_ranges) {
        const uint32_t value = words[range.word];
        good = good && value >= range.min && value <= range.max;
        logged[next++] = static_cast<int>(value);
    }
    if (!good) {
        log_err("%s(),{%d, %d, %d,%d,%d,%d}\n", "control_enc_bitrate", logged[0], logged[1], logged[2],
                logged[3], logged[4], logged[5]);
        return -1;
    }
    return control_bitrate(record);
}
