#include "board/boardd/picture/scene.h"

#include "board/boardd/picture/settings.h"

#include <cmath>
#include <numbers>

namespace board {

namespace {

constexpr int32_t wall_part = 8; /* of the picture's height */
constexpr double wall_brightness = 0.3;

constexpr size_t band_steps = 32;
constexpr int32_t bands_in_picture = 3;
constexpr double band_depth = 0.15;
constexpr uint32_t band_steps_per_frame = 3; /* the bands roll */

} // namespace

int32_t wall_top(const Plane &y) {
    return y.height - y.height / wall_part;
}

Scene::Scene() : wall_(gain_curve(wall_brightness)) {
    for (size_t i = 0; i < band_steps; ++i) {
        const double angle = 2 * std::numbers::pi * static_cast<double>(i) / band_steps;
        bands_.push_back(gain_curve(1 + band_depth * std::sin(angle)));
    }
}

void Scene::paint(const Planes &planes, int32_t flicker_hz, uint32_t frame) const {
    const int32_t top = wall_top(planes.y);
    apply_curve(planes.y, wall_, top, planes.y.height - top);
    if (flicker_hz == scene_mains_hz) {
        return;
    }
    const size_t first = size_t{frame} * band_steps_per_frame;
    for (int32_t y = 0; y < planes.y.height; ++y) {
        const auto step =
            static_cast<size_t>(y) * band_steps * bands_in_picture / static_cast<size_t>(planes.y.height);
        apply_curve(planes.y, bands_[(first + step) % band_steps], y, 1);
    }
}

} // namespace board
