/*
 * What the test scene shows besides its ball, so that the picture's controls have something to act on: a dark
 * wall along the bottom, which tells up from down and has shadows to lift, and light from lamps on the mains,
 * which bands the picture when the sensor expects another frequency. Pure; one thread for each picture.
 */
#ifndef PLATFORM_BOARD_BOARDD_PICTURE_SCENE_H
#define PLATFORM_BOARD_BOARDD_PICTURE_SCENE_H

#include "board/boardd/picture/effects.h"

#include <vector>

namespace board {

class Scene {
  public:
    Scene();

    /* Paints wall and bands over a frame. `frame` counts frames, for the bands to move; they are there when
     * `flicker_hz`, what the sensor expects, is not the frequency of the light. */
    void paint(const Planes &planes, int32_t flicker_hz, uint32_t frame) const;

  private:
    Curve wall_;
    std::vector<Curve> bands_; /* one period, in steps */
};

/* The first row of the wall. */
int32_t wall_top(const Plane &y);

} // namespace board

#endif
