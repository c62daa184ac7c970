#include "board/boardd/audio/sample_queue.h"

namespace board {

bool SampleQueue::push(std::span<const int16_t> samples) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (samples_.size() + samples.size() > capacity_) {
        return false;
    }
    samples_.insert(samples_.end(), samples.begin(), samples.end());
    return true;
}

void SampleQueue::push_newest(std::span<const int16_t> samples) {
    const std::lock_guard<std::mutex> lock(mutex_);
    samples_.insert(samples_.end(), samples.begin(), samples.end());
    if (samples_.size() > capacity_) {
        samples_.erase(samples_.begin(), samples_.end() - static_cast<std::ptrdiff_t>(capacity_));
    }
}

size_t SampleQueue::pop(std::span<int16_t> samples) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const size_t count = std::min(samples.size(), samples_.size());
    const auto end = samples_.begin() + static_cast<std::ptrdiff_t>(count);
    std::copy(samples_.begin(), end, samples.begin());
    std::fill(samples.begin() + static_cast<std::ptrdiff_t>(count), samples.end(), int16_t{0});
    samples_.erase(samples_.begin(), end);
    return count;
}

void SampleQueue::clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    samples_.clear();
}

size_t SampleQueue::size() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return samples_.size();
}

} // namespace board
