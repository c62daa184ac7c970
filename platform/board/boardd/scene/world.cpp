#include "board/boardd/scene/world.h"

#include "board/client/control_call.h"

#include <algorithm>
#include <cmath>

namespace board {

namespace {

constexpr LightRecord light_at_first = {light_channel_lamp, 0, light_brightness_max};

uint32_t thousandths(double value) {
    return static_cast<uint32_t>(std::lround(value * 1000));
}

using Lock = std::lock_guard<std::mutex>;

} // namespace

World::World() : light_(light_at_first), object_since_us_(monotonic_us()) {}

/* The lock is held from here to public members. */

int32_t World::lamp() const {
    const int32_t channel = light_.enabled != 0 ? light_.brightness : 0;
    return lamp_switch_ ? light_brightness_max : channel;
}

Optics World::optics() const {
    return {filter_, static_cast<double>(lamp()) / light_brightness_max};
}

Sight World::look(uint64_t now_us) const {
    return eye_.look(sensed_lux(sky_.lux(now_us), optics()),
                     sensed_lux(sky_.flickering_lux(now_us), optics()), now_us);
}

LightSeenRecord World::seen_at(uint64_t now_us) const {
    const Sight sight = look(now_us);
    return {thousandths(sight.seen_lux), thousandths(sight.gain), filter_ ? 1 : 0, lamp()};
}

/* Changes something that what is sensed depends on. */
template <typename Change>
void World::leap(Change change) {
    const uint64_t now_us = monotonic_us();
    const double before = sensed_lux(sky_.lux(now_us), optics());
    change(now_us);
    eye_.leap(before, sensed_lux(sky_.lux(now_us), optics()), now_us);
    ++changes_;
}

ViewRecord World::set_view(int64_t pan, int64_t tilt) {
    const ViewRecord place = {static_cast<int32_t>(std::clamp<int64_t>(pan, -view_pan_max, view_pan_max)),
                              static_cast<int32_t>(std::clamp<int64_t>(tilt, -view_tilt_max, view_tilt_max))};
    if (place.pan != view_.pan || place.tilt != view_.tilt) {
        view_ = place;
        ++view_moves_;
        ++changes_;
    }
    return view_;
}

/* ---- public ---- */

void World::set_filter(bool in_front) {
    const Lock lock(mutex_);
    leap([&](uint64_t) { filter_ = in_front; });
}

void World::set_light(const LightRecord &record) {
    const Lock lock(mutex_);
    leap([&](uint64_t) {
        light_.enabled = record.enabled == light_unchanged ? light_.enabled : record.enabled;
        light_.brightness = record.brightness == light_unchanged ? light_.brightness : record.brightness;
    });
}

void World::set_lamp_switch(bool on) {
    const Lock lock(mutex_);
    if (on != lamp_switch_) {
        leap([&](uint64_t) { lamp_switch_ = on; });
    }
}

void World::reset_board() {
    const Lock lock(mutex_);
    leap([&](uint64_t) {
        filter_ = true;
        lamp_switch_ = false;
        light_ = light_at_first;
    });
}

ViewRecord World::move_view_by(const ViewRecord &move) {
    const Lock lock(mutex_);
    return set_view(int64_t{view_.pan} + move.pan, int64_t{view_.tilt} + move.tilt);
}

ViewRecord World::move_view_to(const ViewRecord &place) {
    const Lock lock(mutex_);
    return set_view(place.pan, place.tilt);
}

void World::set_sky(const SceneLightRecord &record) {
    const Lock lock(mutex_);
    leap([&](uint64_t now_us) { sky_.set(record, now_us); });
}

void World::set_noise(uint32_t percent) {
    const Lock lock(mutex_);
    sky_.set_noise(percent);
    ++changes_;
}

void World::set_object(const SceneObjectRecord &record) {
    const Lock lock(mutex_);
    object_ = record;
    object_since_us_ = monotonic_us();
    ++changes_;
}

Moment World::moment() const {
    const Lock lock(mutex_);
    const uint64_t now_us = monotonic_us();
    const Sight sight = look(now_us);
    Moment moment = {sight.brightness, sight.gain, view_, std::nullopt, lamp() > 0, changes_};
    if (object_.on != 0) {
        moment.object = {object_pan(object_, now_us - object_since_us_), object_.tilt, object_.size};
    }
    return moment;
}

LightSeenRecord World::seen() const {
    const Lock lock(mutex_);
    return seen_at(monotonic_us());
}

SceneStateRecord World::state() const {
    const Lock lock(mutex_);
    const uint64_t now_us = monotonic_us();
    return {thousandths(sky_.lux(now_us)),
            sky_.noise_percent(),
            sky_.setting(),
            view_,
            view_moves_,
            object_pan(object_, now_us - object_since_us_),
            object_,
            seen_at(now_us)};
}

LightRecord World::light() const {
    const Lock lock(mutex_);
    return light_;
}

uint32_t World::view_moves() const {
    const Lock lock(mutex_);
    return view_moves_;
}

uint32_t World::changes() const {
    const Lock lock(mutex_);
    return changes_;
}

} // namespace board
