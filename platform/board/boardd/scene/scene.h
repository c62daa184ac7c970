/*
 * The test scene: what the camera would see of the world (world.h) at a moment. Part of the panorama; the
 * thing that moves, a person in bright clothes; the noise of the sensor, which grows with its gain; and the
 * light's flicker from lamps on the mains, which bands the picture when the sensor expects another frequency.
 *
 * One thread at a time.
 */
#ifndef PLATFORM_BOARD_BOARDD_SCENE_SCENE_H
#define PLATFORM_BOARD_BOARDD_SCENE_SCENE_H

#include "board/boardd/scene/panorama.h"
#include "board/boardd/scene/sensor_noise.h"
#include "board/boardd/scene/world.h"

#include <optional>
#include <vector>

namespace board {

class Scene {
  public:
    Scene();

    /* Paints all of a frame. `frame` counts frames, for the bands to move; they are there when `flicker_hz`,
     * what the sensor expects, is not the frequency of the light. */
    void paint(const Planes &planes, const Moment &moment, int32_t flicker_hz, uint32_t frame);

  private:
    void draw_person(const Planes &planes, const Moment &moment, uint32_t brightness) const;
    void draw_bands(const Plane &y, uint32_t frame) const;

    std::optional<Panorama> panorama_; /* for the size of the last frame */
    SensorNoise noise_;
    std::vector<Curve> bands_; /* one period, in steps */
};

} // namespace board

#endif
