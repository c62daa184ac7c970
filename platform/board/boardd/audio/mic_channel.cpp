#include "board/boardd/audio/mic_channel.h"

#include "board/client/control_call.h"

#include <utility>

namespace board {

namespace {

constexpr uint32_t arena_bytes = 32U * 1024; // four times that: room for a window of each of two clients
constexpr FrameChannel::Kind kind = {mic_path, mic_magic, mic_block_bytes, arena_bytes};

} // namespace

MicChannel::MicChannel(struct ev_loop *loop, std::function<void()> closed)
    : StreamChannel(loop, kind, std::move(closed)) {}

void MicChannel::take(const MicBlock &block, uint64_t timestamp_us) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++counts_.blocks;
    if (held()) {
        ++counts_.lost;
        return;
    }
    MicRecord record{};
    record.magic = mic_magic;
    record.kind = venc_frame;
    record.published_us = monotonic_us();
    record.lost_before = lost_before_ ? 1 : 0;
    record.info.timestamp_us = timestamp_us;
    record.info.len = sizeof block;
    lost_before_ = !channel_.publish(record, reinterpret_cast<const uint8_t *>(block.data()), sizeof block);
    counts_.lost += lost_before_ ? 1 : 0;
}

MicCounts MicChannel::counts() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return counts_;
}

} // namespace board
