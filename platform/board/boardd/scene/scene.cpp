#include "board/boardd/scene/scene.h"

#include "board/boardd/picture/settings.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace board {

namespace {

constexpr size_t band_steps = 32;
constexpr int32_t bands_in_picture = 3;
constexpr double band_depth = 0.15;
constexpr uint32_t band_steps_per_frame = 3; /* the bands roll */

/* A part of the person: in parts of its height, from its middle and from its top. */
struct Limb {
    double left, right, top, bottom;
    bool round;
    Colour colour;
};

constexpr Colour skin = {190, 110, 150};
constexpr Colour coat = {216, 92, 138};
constexpr Colour trousers = {34, 136, 124};
constexpr Limb limbs[] = {
    {-0.11, 0.11, 0, 0.22, true, skin},
    {-0.20, 0.20, 0.22, 0.66, false, coat},
    {-0.16, -0.03, 0.66, 1, false, trousers},
    {0.03, 0.16, 0.66, 1, false, trousers},
};

int32_t turned_in_half(int32_t pan) {
    constexpr int32_t full = 36000;
    const int32_t rest = (pan + full / 2) % full;
    return (rest < 0 ? rest + full : rest) - full / 2;
}

/* Fills the pixels of a row that lie in the picture; chroma gets its part on every other row. */
void fill_row(const Planes &planes, int32_t y, double left, double right, const Colour &colour) {
    const int32_t from = std::clamp(static_cast<int32_t>(std::lround(left / 2)) * 2, 0, planes.y.width);
    const int32_t to = std::clamp(static_cast<int32_t>(std::lround(right / 2)) * 2, from, planes.y.width);
    std::memset(planes.y.row(y) + from, colour.y, static_cast<size_t>(to - from));
    if (y % 2 == 0) {
        std::memset(planes.u.row(y / 2) + from / 2, colour.u, static_cast<size_t>(to - from) / 2);
        std::memset(planes.v.row(y / 2) + from / 2, colour.v, static_cast<size_t>(to - from) / 2);
    }
}

/* `x`, `y`: the person's middle and top in pixels of the picture. */
void draw_limb(const Planes &planes, const Limb &limb, double x, double y, double height,
               uint32_t brightness) {
    const Colour colour = lit(limb.colour, brightness);
    const double middle = x + (limb.left + limb.right) / 2 * height;
    const double half_width = (limb.right - limb.left) / 2 * height;
    const double half_height = (limb.bottom - limb.top) / 2 * height;
    const double centre = y + limb.top * height + half_height;
    const auto first = std::max(0, static_cast<int32_t>(std::lround(centre - half_height)));
    const auto end = std::min(planes.y.height, static_cast<int32_t>(std::lround(centre + half_height)));
    for (int32_t row = first; row < end; ++row) {
        const double away = limb.round ? (row + 0.5 - centre) / half_height : 0;
        const double half = half_width * std::sqrt(std::max(0.0, 1 - away * away));
        fill_row(planes, row, middle - half, middle + half, colour);
    }
}

} // namespace

Scene::Scene() {
    for (size_t i = 0; i < band_steps; ++i) {
        const double angle = 2 * std::numbers::pi * static_cast<double>(i) / band_steps;
        bands_.push_back(gain_curve(1 + band_depth * std::sin(angle)));
    }
}

void Scene::paint(const Planes &planes, const Moment &moment, int32_t flicker_hz, uint32_t frame) {
    if (!panorama_ || !panorama_->fits(planes.y)) {
        panorama_.emplace(planes.y.width, planes.y.height);
    }
    const double parts = std::round(moment.brightness * brightness_one);
    const auto brightness = static_cast<uint32_t>(std::clamp(parts, 0.0, double{brightness_max}));
    panorama_->show(planes, moment.view, brightness);
    draw_person(planes, moment, brightness);
    noise_.add(planes.y, moment.gain);
    if (flicker_hz != scene_mains_hz) {
        draw_bands(planes.y, frame);
    }
}

void Scene::draw_person(const Planes &planes, const Moment &moment, uint32_t brightness) const {
    if (!moment.object) {
        return;
    }
    const double x =
        planes.y.width / 2.0 + panorama_->pixels(turned_in_half(moment.object->pan - moment.view.pan));
    const double middle = planes.y.height / 2.0 - panorama_->pixels(moment.object->tilt - moment.view.tilt);
    const double height = panorama_->pixels(moment.object->size);
    for (const Limb &limb : limbs) {
        draw_limb(planes, limb, x, middle - height / 2, height, brightness);
    }
}

void Scene::draw_bands(const Plane &y, uint32_t frame) const {
    const size_t first = size_t{frame} * band_steps_per_frame;
    for (int32_t row = 0; row < y.height; ++row) {
        const auto step =
            static_cast<size_t>(row) * band_steps * bands_in_picture / static_cast<size_t>(y.height);
        apply_curve(y, bands_[(first + step) % band_steps], row, 1);
    }
}

} // namespace board
