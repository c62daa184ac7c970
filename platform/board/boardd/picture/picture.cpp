#include "board/boardd/picture/picture.h"

#include "board/boardd/picture/timestamp.h"

#include <algorithm>
#include <utility>

namespace board {

namespace {

/* How much the lamp brings at night, to a source that knows nothing of light. */
constexpr double lamp_gain = 1.6;

/* The model of the sensor: what its automatic exposure would choose. */
constexpr uint32_t luma_target = 110;
constexpr uint32_t gain_day_milli = 1000;
constexpr uint32_t gain_night_milli = 8000;
constexpr uint32_t gain_lamp_milli = 2000;
constexpr uint32_t exposure_free_us = 10'000; /* by day, when no flicker is to be kept out */

/* Lamps on the mains flicker at twice its frequency; whole periods of that make no bands. */
uint32_t exposure_us(const PictureSettings &settings, int32_t fps) {
    const uint32_t frame_us = 1'000'000U / static_cast<uint32_t>(fps);
    const uint32_t wanted_us = settings.night ? frame_us : std::min(frame_us, exposure_free_us);
    const int64_t flashes = int64_t{settings.flicker_hz} * 2;
    if (flashes <= 0 || flashes > 1'000'000) {
        return wanted_us;
    }
    const auto period_us = static_cast<uint32_t>(1'000'000 / flashes);
    return std::max(wanted_us / period_us, 1U) * period_us;
}

uint32_t gain_milli(const PictureSettings &settings) {
    const uint32_t night_milli = settings.lamp ? gain_lamp_milli : gain_night_milli;
    return settings.night ? night_milli : gain_day_milli;
}

/* Does luma stay what it is, when one takes the place of the other? */
bool looks_alike(const PictureSettings &one, const PictureSettings &other) {
    return one.flip == other.flip && one.wdr == other.wdr && one.night == other.night &&
           one.lamp == other.lamp && one.flicker_hz == other.flicker_hz;
}

/* The same of the world, but for what its light does. */
bool looks_alike(const Moment &one, const Moment &other) {
    return one.view.pan == other.view.pan && one.view.tilt == other.view.tilt && one.lamp == other.lamp;
}

} // namespace

PictureSettings Picture::settings() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return settings_;
}

void Picture::set(const PictureSettings &settings) {
    const std::lock_guard<std::mutex> lock(mutex_);
    settings_ = settings;
    world_.set_lamp_switch(settings.lamp);
    ++changes_;
}

uint32_t Picture::changes() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return changes_ + world_.changes();
}

ExposureRecord Picture::exposure(int32_t fps) const {
    PictureSettings now = settings();
    now.lamp = world_.seen().lamp > 0;
    return {exposure_us(now, fps),
            gain_milli(now),
            luma_mean_.load(std::memory_order_relaxed),
            luma_target,
            now.flicker_hz,
            now.night ? 1 : 0,
            (now.wdr ? exposure_flag_wdr : 0) | (now.lamp ? exposure_flag_lamp : 0)};
}

std::string Picture::stamp(uint32_t frame) const {
    if (!used_.overlay) {
        return "";
    }
    return used_.stamp ? timestamp_text(used_.stamp->region, used_.stamp->time)
                       : frame_text(std::time(nullptr), frame);
}

bool Picture::begin_frame(bool scene) {
    bool changed = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        changed = used_changes_ != changes_;
        if (changed) {
            look_ += looks_alike(used_, settings_) ? 0U : 1U;
            used_ = settings_;
            used_changes_ = changes_;
        }
    }
    const Moment before = moment_;
    moment_ = world_.moment();
    look_ += looks_alike(before, moment_) ? 0U : 1U;
    changed = changed || moment_.lamp != before.lamp || used_scene_ != scene;
    used_scene_ = scene;
    if (changed) {
        work_out_tables();
    }
    return scene || tone_ || tint_ || used_.night || used_.flip || used_.track;
}

void Picture::work_out_tables() {
    const bool lit = moment_.lamp && used_.night && !used_scene_; // the scene has a light of its own
    tone_ = used_.wdr || lit;
    tone_curve_ =
        chained(lit ? gain_curve(lamp_gain) : plain_curve(), used_.wdr ? wdr_curve() : plain_curve());
    tint_ = used_.white.mode == white_fixed && !used_.night;
    tint_matrix_ = tint_of(used_.white);
}

void Picture::paint(const Planes &planes, bool scene, uint32_t frame) {
    if (scene) {
        scene_.paint(planes, moment_, used_.flicker_hz, frame);
    }
    if (tone_) {
        apply_curve(planes.y, tone_curve_, 0, planes.y.height);
    }
    if (used_.night) {
        make_grey(planes);
    } else if (tint_) {
        apply_tint(planes, tint_matrix_);
    }
    if (used_.flip) {
        flip(planes);
    }
}

void Picture::draw(const Planes &planes) const {
    if (used_.track) {
        draw_track(planes, *used_.track);
    }
}

} // namespace board
