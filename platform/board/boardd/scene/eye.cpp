#include "board/boardd/scene/eye.h"

#include <algorithm>
#include <cmath>

namespace board {

namespace {

constexpr double least_lux = 1e-6; /* for logarithms and divisions */

/* Between these the picture tells how bright the light is; white and black hide the rest. */
constexpr double least_brightness = 1.0 / 64;
constexpr double most_brightness = 2;

} // namespace

double sensed_lux(double visible_lux, const Optics &optics) {
    return optics.filter ? visible_lux : visible_lux * (1 + eye_infrared_share) + optics.lamp * eye_lamp_lux;
}

/* The exposure has its limit: what is darker than that it does not follow. */
double Eye::exposed_for_lux(double lux, uint64_t now_us) const {
    const double rest = std::exp(-static_cast<double>(now_us - leap_us_) / eye_settle_us);
    return std::max(lux, eye_dark_lux) * std::exp(leap_ * rest);
}

void Eye::leap(double before_lux, double after_lux, uint64_t now_us) {
    leap_ = std::log(exposed_for_lux(before_lux, now_us) / std::max(after_lux, eye_dark_lux));
    leap_us_ = now_us;
}

Sight Eye::look(double lux, double flickering_lux, uint64_t now_us) const {
    const double exposed = std::max(exposed_for_lux(lux, now_us), eye_dark_lux);
    const double brightness = std::max(flickering_lux, least_lux) / exposed;
    const double gain = std::clamp(eye_gain_free_lux / exposed, 1.0, eye_gain_free_lux / eye_dark_lux);
    return {brightness, gain, exposed * std::clamp(brightness, least_brightness, most_brightness)};
}

} // namespace board
