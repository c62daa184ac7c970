#include "board/boardd/analytics/frame_tap.h"

#include "board/boardd/analytics/motion_detector.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace board {

namespace {

/* Of the rows that a picture has, so many are enough to be made smaller. */
constexpr int32_t rows_wanted = 2 * detect_height;

/* Pictures come at their own times: one that is a little early does as well as the next. */
constexpr uint64_t early_us = 20'000;

} // namespace

void FrameTap::offer(const Plane &y, uint64_t time_us, uint32_t look) {
    if (!open_.load(std::memory_order_relaxed) || time_us + early_us < due_us_) {
        return;
    }
    const std::unique_lock<std::mutex> lock(mutex_, std::try_to_lock);
    if (!lock.owns_lock()) {
        return;
    }
    due_us_ = std::max(due_us_ + detect_interval_us, time_us + detect_interval_us / 2);
    const int32_t step = std::max(y.height / rows_wanted, 1);
    frame_.width = y.width;
    frame_.height = y.height / step;
    frame_.time_us = time_us;
    frame_.look = look;
    const auto width = static_cast<size_t>(y.width);
    frame_.luma.resize(width * static_cast<size_t>(frame_.height));
    for (int32_t row = 0; row < frame_.height; ++row) {
        std::memcpy(frame_.luma.data() + static_cast<size_t>(row) * width, y.row(row * step), width);
    }
    there_ = true;
    changed_.notify_one();
}

bool FrameTap::wait(TappedFrame *frame, int32_t timeout_ms) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, std::chrono::milliseconds(timeout_ms), [this] { return there_ || woken_; });
    woken_ = false;
    if (there_) {
        std::swap(*frame, frame_);
    }
    return std::exchange(there_, false);
}

void FrameTap::wake() {
    const std::lock_guard<std::mutex> lock(mutex_);
    woken_ = true;
    changed_.notify_one();
}

} // namespace board
