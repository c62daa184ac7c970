#include "board/boardd/picture/controls.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace board {

namespace {

using Reply = PictureControls::Reply;

template <typename Record>
Record record_of(std::span<const uint8_t> payload) {
    Record record;
    std::memcpy(&record, payload.data(), sizeof record);
    return record;
}

template <typename Record>
Reply reply_with(const Record &record) {
    Bytes bytes(sizeof record);
    std::memcpy(bytes.data(), &record, sizeof record);
    return {0, bytes};
}

const Reply done = {0, {}};
const Reply invalid = {-EINVAL, {}};

bool is_switch(int32_t value) {
    return value == 0 || value == 1;
}

bool is_sound(const WhiteBalanceRecord &record) {
    const auto is_gain = [](uint32_t gain) { return gain >= white_gain_min && gain <= white_gain_max; };
    const bool unused = std::all_of(std::begin(record.reserved), std::end(record.reserved),
                                    [](uint32_t word) { return word == 0; });
    const bool gains = is_gain(record.red) && is_gain(record.green) && is_gain(record.blue);
    return unused && (record.mode == white_auto || (record.mode == white_fixed && gains));
}

} // namespace

const PictureControls::Row PictureControls::rows[] = {
    {op_streaming, 0, &PictureControls::set_streaming},
    {op_flip, 0, &PictureControls::set_switch<&PictureSettings::flip>},
    {op_overlay, 0, &PictureControls::set_switch<&PictureSettings::overlay>},
    {op_timestamp, 0, &PictureControls::set_timestamp},
    {op_wdr, 0, &PictureControls::set_switch<&PictureSettings::wdr>},
    {op_flicker, 0, &PictureControls::set_flicker},
    {op_set_day_night, 0, &PictureControls::set_switch<&PictureSettings::night>},
    {op_get_day_night, 0, &PictureControls::get_day_night},
    {op_get_exposure, 0, &PictureControls::get_exposure},
    {op_get_white, 0, &PictureControls::get_white},
    {op_set_white, sizeof(WhiteBalanceRecord), &PictureControls::set_white},
    {op_lamp, 0, &PictureControls::set_switch<&PictureSettings::lamp>},
    {op_bitrate, sizeof(BitrateControl), &PictureControls::set_bitrate},
    {op_track, sizeof(TrackRecord), &PictureControls::set_track},
    {op_track_end, 0, &PictureControls::end_track},
    {op_bound, 0, &PictureControls::set_bound},
    {op_motion_regions, motion_regions * sizeof(int32_t), &PictureControls::set_motion_regions},
    {op_motion_sense, 0, &PictureControls::set_motion_sense},
    {op_motion, 0, &PictureControls::set_motion},
    {op_sound_threshold, 0, &PictureControls::set_sound_threshold},
    {op_board_param, 0, &PictureControls::note_board_param},
};

const PictureControls::Row *PictureControls::row_of(uint32_t op) {
    const auto *found =
        std::find_if(std::begin(rows), std::end(rows), [op](const Row &row) { return row.op == op; });
    return found == std::end(rows) ? nullptr : found;
}

std::optional<size_t> PictureControls::payload_bytes(uint32_t op) {
    const Row *row = row_of(op);
    return row != nullptr ? std::optional(row->payload_bytes) : std::nullopt;
}

Reply PictureControls::perform(uint32_t op, int32_t value, Payload payload) {
    if (board_.phase() == Phase::idle) {
        return {-ENODEV, {}};
    }
    return (this->*row_of(op)->perform)(value, payload);
}

template <auto Member>
Reply PictureControls::set_switch(int32_t value, Payload /*payload*/) {
    if (!is_switch(value)) {
        return invalid;
    }
    PictureSettings settings = board_.picture().settings();
    settings.*Member = value == 1;
    board_.picture().set(settings);
    return done;
}

Reply PictureControls::set_streaming(int32_t value, Payload /*payload*/) {
    if (!is_switch(value)) {
        return invalid;
    }
    board_.set_streaming(value == 1);
    return done;
}

Reply PictureControls::set_timestamp(int32_t value, Payload /*payload*/) {
    PictureSettings settings = board_.picture().settings();
    settings.stamp = Stamp{value, std::time(nullptr)};
    board_.picture().set(settings);
    return done;
}

Reply PictureControls::set_flicker(int32_t value, Payload /*payload*/) {
    PictureSettings settings = board_.picture().settings();
    settings.flicker_hz = value;
    board_.picture().set(settings);
    return done;
}

Reply PictureControls::get_day_night(int32_t /*value*/, Payload /*payload*/) {
    return reply_with(int32_t{board_.picture().settings().night ? 1 : 0});
}

Reply PictureControls::get_exposure(int32_t /*value*/, Payload /*payload*/) {
    return reply_with(board_.picture().exposure(capture_format(*board_.profile()).fps));
}

Reply PictureControls::get_white(int32_t /*value*/, Payload /*payload*/) {
    return reply_with(board_.picture().settings().white);
}

Reply PictureControls::set_white(int32_t /*value*/, Payload payload) {
    const auto record = record_of<WhiteBalanceRecord>(payload);
    if (!is_sound(record)) {
        return invalid;
    }
    PictureSettings settings = board_.picture().settings();
    settings.white = record.mode == white_auto ? PictureSettings().white : record;
    board_.picture().set(settings);
    return done;
}

Reply PictureControls::set_bitrate(int32_t /*value*/, Payload payload) {
    const auto record = record_of<BitrateControl>(payload);
    const int32_t result = board_.set_bitrate(record.channel, record.bitrate);
    if (result == 0) {
        notes_.bitrate = record;
    }
    return {result, {}};
}

Reply PictureControls::set_track(int32_t /*value*/, Payload payload) {
    const auto record = record_of<TrackRecord>(payload);
    if (record.width <= 0 || record.height <= 0) {
        return invalid;
    }
    PictureSettings settings = board_.picture().settings();
    settings.track = record;
    board_.picture().set(settings);
    return done;
}

Reply PictureControls::end_track(int32_t /*value*/, Payload /*payload*/) {
    PictureSettings settings = board_.picture().settings();
    settings.track.reset();
    board_.picture().set(settings);
    return done;
}

Reply PictureControls::set_bound(int32_t value, Payload /*payload*/) {
    if (!is_switch(value)) {
        return invalid;
    }
    notes_.bound = value;
    return done;
}

Reply PictureControls::set_motion_regions(int32_t /*value*/, Payload payload) {
    const auto values = record_of<std::array<int32_t, motion_regions>>(payload);
    notes_.motion_sense.assign(values.begin(), values.end());
    return done;
}

Reply PictureControls::set_motion_sense(int32_t value, Payload /*payload*/) {
    notes_.motion_sense = {value};
    return done;
}

Reply PictureControls::set_motion(int32_t value, Payload /*payload*/) {
    if (!is_switch(value)) {
        return invalid;
    }
    notes_.motion = value == 1;
    return done;
}

Reply PictureControls::set_sound_threshold(int32_t value, Payload /*payload*/) {
    notes_.sound_threshold = value;
    return done;
}

Reply PictureControls::note_board_param(int32_t value, Payload /*payload*/) {
    ++notes_.board_params;
    notes_.last_board_param = static_cast<uint32_t>(value);
    return done;
}

} // namespace board
