/*
 * The light of the world over time: constant, on its way to another level, or a day that comes and goes; and
 * how it flickers. Pure: the time of each question is given, microseconds of a clock that does not go back.
 *
 * Lux throughout. Changes are even in logarithms, as eyes see them; 0 lux is a thousandth to them.
 */
#ifndef PLATFORM_BOARD_BOARDD_SCENE_SKY_H
#define PLATFORM_BOARD_BOARDD_SCENE_SKY_H

#include "board/scene_protocol.h"

namespace board {

constexpr uint32_t sky_default_mlux = 500'000; /* a well-lit room */

class Sky {
  public:
    /* Whether the record is one that can be set. */
    static bool is_sound(const SceneLightRecord &record);

    /* A sound record, in force from `now_us` on. */
    void set(const SceneLightRecord &record, uint64_t now_us);
    const SceneLightRecord &setting() const { return setting_; }

    void set_noise(uint32_t percent) { noise_percent_ = percent; }
    uint32_t noise_percent() const { return noise_percent_; }

    double lux(uint64_t now_us) const;

    /* The same as it flickers at this moment: at most noise_percent more or less, another value every 40 ms.
     */
    double flickering_lux(uint64_t now_us) const;

  private:
    SceneLightRecord setting_ = {scene_constant, sky_default_mlux, 0, 0};
    uint64_t since_us_ = 0;
    double from_lux_ = 0; /* scene_ramp: where it began */
    uint32_t noise_percent_ = 0;
};

} // namespace board

#endif
