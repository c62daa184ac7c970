#include "board/boardd/scene/controls.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace board {

namespace {

using Reply = SceneControls::Reply;

template <typename Record>
Record record_of(std::span<const uint8_t> payload) {
    Record record;
    std::memcpy(&record, payload.data(), sizeof record);
    return record;
}

template <typename Record>
Reply reply_with(const Record &record) {
    std::vector<uint8_t> bytes(sizeof record);
    std::memcpy(bytes.data(), &record, sizeof record);
    return {0, bytes};
}

const Reply done = {0, {}};
const Reply invalid = {-EINVAL, {}};

bool is_switch(int32_t value) {
    return value == 0 || value == 1;
}

bool is_sound(const LightRecord &record) {
    const bool enabled = is_switch(record.enabled) || record.enabled == light_unchanged;
    const bool brightness = record.brightness >= 0 && record.brightness <= light_brightness_max;
    return record.channel == light_channel_lamp && enabled &&
           (brightness || record.brightness == light_unchanged);
}

} // namespace

const SceneControls::Row SceneControls::rows[] = {
    {op_ircut, 0, &SceneControls::move_filter},
    {op_light, sizeof(LightRecord), &SceneControls::set_light},
    {op_light_seen, 0, &SceneControls::see_light},
    {op_view, sizeof(ViewRecord), &SceneControls::move_view},
    {op_scene_light, sizeof(SceneLightRecord), &SceneControls::set_sky},
    {op_scene_get, 0, &SceneControls::get_scene},
    {op_scene_noise, 0, &SceneControls::set_noise},
    {op_scene_object, sizeof(SceneObjectRecord), &SceneControls::set_object},
    {op_scene_burst, sizeof(BurstRecord), &SceneControls::burst},
};

const SceneControls::Row *SceneControls::row_of(uint32_t op) {
    const auto *found =
        std::find_if(std::begin(rows), std::end(rows), [op](const Row &row) { return row.op == op; });
    return found == std::end(rows) ? nullptr : found;
}

std::optional<size_t> SceneControls::payload_bytes(uint32_t op) {
    const Row *row = row_of(op);
    return row != nullptr ? std::optional(row->payload_bytes) : std::nullopt;
}

Reply SceneControls::perform(uint32_t op, int32_t value, Payload payload) {
    return (this->*row_of(op)->perform)(value, payload);
}

Reply SceneControls::move_filter(int32_t value, Payload /*payload*/) {
    if (!is_switch(value)) {
        return invalid;
    }
    world_.set_filter(value == 1);
    return done;
}

Reply SceneControls::set_light(int32_t /*value*/, Payload payload) {
    const auto record = record_of<LightRecord>(payload);
    if (!is_sound(record)) {
        return invalid;
    }
    world_.set_light(record);
    return done;
}

Reply SceneControls::see_light(int32_t /*value*/, Payload /*payload*/) {
    return reply_with(world_.seen());
}

Reply SceneControls::move_view(int32_t value, Payload payload) {
    if (!is_switch(value)) {
        return invalid;
    }
    const auto record = record_of<ViewRecord>(payload);
    return reply_with(value == 1 ? world_.move_view_to(record) : world_.move_view_by(record));
}

Reply SceneControls::set_sky(int32_t /*value*/, Payload payload) {
    const auto record = record_of<SceneLightRecord>(payload);
    if (!Sky::is_sound(record)) {
        return invalid;
    }
    world_.set_sky(record);
    return done;
}

Reply SceneControls::get_scene(int32_t /*value*/, Payload /*payload*/) {
    return reply_with(world_.state());
}

Reply SceneControls::set_noise(int32_t value, Payload /*payload*/) {
    if (value < 0 || value > 100) {
        return invalid;
    }
    world_.set_noise(static_cast<uint32_t>(value));
    return done;
}

Reply SceneControls::set_object(int32_t /*value*/, Payload payload) {
    const auto record = record_of<SceneObjectRecord>(payload);
    if (!board::is_sound(record)) {
        return invalid;
    }
    world_.set_object(record);
    return done;
}

Reply SceneControls::burst(int32_t /*value*/, Payload payload) {
    const auto record = record_of<BurstRecord>(payload);
    const bool level = record.level_db >= burst_level_min_db && record.level_db <= 0;
    if (!level || record.duration_ms == 0 || record.duration_ms > burst_duration_max_ms) {
        return invalid;
    }
    return {audio_.burst(record), {}};
}

} // namespace board
