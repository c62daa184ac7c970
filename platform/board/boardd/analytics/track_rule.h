/*
 * Where the camera has to turn to bring what moves back to the middle of the picture. Steps and signs are
 * those of TrackDirection (libalgo_kit.h). Pure: time comes with the calls.
 *
 * The middle of the picture, a quarter of it each way, is left alone. Otherwise one turn is told, at most
 * track_steps_max steps, and then none for track_again_us, or, when the view turns, until the picture has
 * been at rest for settle_us (motion_detector.h).
 */
#ifndef PLATFORM_BOARD_BOARDD_ANALYTICS_TRACK_RULE_H
#define PLATFORM_BOARD_BOARDD_ANALYTICS_TRACK_RULE_H

#include "board/boardd/analytics/motion_detector.h"
#include "board/scene_protocol.h"
#include "libalgo_kit.h"

#include <optional>

namespace board {

constexpr uint64_t track_again_us = 500'000;
constexpr int32_t track_steps_max = 90;

/* What the picture's height shows, of a picture of 16 to 9; and a step. Hundredths of a degree. */
constexpr int32_t view_field_vertical = view_field_horizontal * 9 / 16;
constexpr int32_t track_step = 50;

class TrackRule {
  public:
    /* After a picture of that time in which this moved. Nothing, or a direction that is not all 0. */
    std::optional<TrackDirection> step(const std::optional<Motion> &motion, uint64_t time_us);

  private:
    std::optional<uint64_t> told_us_;
};

} // namespace board

#endif
