/*
 * The sensor behind lens and filter: what reaches it, how far its automatic exposure has got, and how bright
 * the picture is then. A linear model:
 *
 *     sensed = visible light                                     filter in front
 *     sensed = visible light x (1 + infrared share) + lamp       filter out of the way
 *
 * The exposure makes a picture of the same brightness of whatever is sensed, down to dark_lux, where exposure
 * time and gain are at their limits: below it the picture goes dark. It follows a leap (filter, lamp, a light
 * switched on) within some tenths of a second, meanwhile the picture is too bright or too dark.
 *
 * Pure; times as in sky.h.
 */
#ifndef PLATFORM_BOARD_BOARDD_SCENE_EYE_H
#define PLATFORM_BOARD_BOARDD_SCENE_EYE_H

#include <cstdint>

namespace board {

constexpr double eye_infrared_share = 0.3;
constexpr double eye_lamp_lux = 12;       /* the lamp at full brightness */
constexpr double eye_dark_lux = 1;        /* the least that still makes a good picture */
constexpr double eye_gain_free_lux = 50;  /* from here on up no gain is needed */
constexpr double eye_settle_us = 150'000; /* by so much a leap has shrunk to a third */

/* What stands between world and sensor. */
struct Optics {
    bool filter = true;
    double lamp = 0; /* 0 to 1 */
};

/* What reaches the sensor of this much visible light. */
double sensed_lux(double visible_lux, const Optics &optics);

/* What the sensor makes of it. */
struct Sight {
    double brightness; /* of the picture: 1 as it should be, 0 black */
    double gain;       /* 1 to eye_gain_free_lux / eye_dark_lux */
    double seen_lux;   /* the light, told from brightness, exposure and gain; wrong while the picture is too
                          bright or too dark to tell */
};

class Eye {
  public:
    /* What is sensed has changed by a leap from `before_lux` to `after_lux`. */
    void leap(double before_lux, double after_lux, uint64_t now_us);

    /* What it makes of `flickering_lux`, while its exposure knows nothing of the flicker and follows `lux`.
     */
    Sight look(double lux, double flickering_lux, uint64_t now_us) const;

  private:
    double exposed_for_lux(double lux, uint64_t now_us) const;

    double leap_ = 0; /* logarithm of the exposure's light over the sensed light, just after the last leap */
    uint64_t leap_us_ = 0;
};

} // namespace board

#endif
