#include "board/boardd/analytics/motion_report.h"

#include <cinttypes>
#include <cstdio>

namespace board {

namespace {

constexpr char end_text[] = "MotionEnd";

std::string text_of(const Motion &motion) {
    char text[96];
    std::snprintf(text, sizeof text,
                  "Motion x=%" PRId32 " y=%" PRId32 " w=%" PRId32 " h=%" PRId32 " area=%" PRId32, motion.x,
                  motion.y, motion.width, motion.height, motion.area);
    return text;
}

} // namespace

std::optional<std::string> MotionReport::step(const std::optional<Motion> &motion, uint64_t time_us) {
    if (!motion) {
        return on_ && time_us >= moved_us_ + motion_end_us ? stop() : std::nullopt;
    }
    moved_us_ = time_us;
    if (told_us_ && time_us < *told_us_ + motion_again_us) {
        return std::nullopt;
    }
    told_us_ = time_us;
    on_ = true;
    return text_of(*motion);
}

std::optional<std::string> MotionReport::stop() {
    const bool was_on = on_;
    on_ = false;
    return was_on ? std::optional<std::string>(end_text) : std::nullopt;
}

} // namespace board
