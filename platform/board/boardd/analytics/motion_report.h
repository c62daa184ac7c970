/*
 * What is told about motion, and when: docs/formats/events.md has the texts.
 *
 * The first motion is told at once, and further ones once a second while it goes on; its end when there has
 * been none for motion_end_us. No two tellings of motion are closer than motion_again_us, whatever comes
 * between them. Pure: time comes with the calls.
 */
#ifndef PLATFORM_BOARD_BOARDD_ANALYTICS_MOTION_REPORT_H
#define PLATFORM_BOARD_BOARDD_ANALYTICS_MOTION_REPORT_H

#include "board/boardd/analytics/motion_detector.h"

#include <optional>
#include <string>

namespace board {

constexpr uint64_t motion_again_us = 1'000'000;
constexpr uint64_t motion_end_us = 2'000'000;

class MotionReport {
  public:
    /* What to tell after a picture of that time in which this moved. */
    std::optional<std::string> step(const std::optional<Motion> &motion, uint64_t time_us);

    /* Nobody looks any more: what has begun ends. What to tell. */
    std::optional<std::string> stop();

  private:
    bool on_ = false; /* told, and not yet ended */
    uint64_t moved_us_ = 0;
    std::optional<uint64_t> told_us_;
};

} // namespace board

#endif
