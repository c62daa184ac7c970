/*
 * The noise of a sensor that turns its gain up: a prepared pattern, another part of it in each row and frame.
 *
 * One thread at a time.
 */
#ifndef PLATFORM_BOARD_BOARDD_SCENE_SENSOR_NOISE_H
#define PLATFORM_BOARD_BOARDD_SCENE_SENSOR_NOISE_H

#include "board/boardd/picture/effects.h"

#include <vector>

namespace board {

class SensorNoise {
  public:
    /* Adds the noise of `gain` (1 and up). Little gain has none that would show. */
    void add(const Plane &y, double gain);

  private:
    void prepare(int32_t width, int32_t amplitude);

    std::vector<int8_t> pattern_;
    int32_t width_ = 0;
    int32_t amplitude_ = 0; /* of the pattern */
    uint32_t random_ = 1;
};

} // namespace board

#endif
