#include "board/boardd/analytics/algo_channel.h"

#include "board/client/control_call.h"

#include <utility>

namespace board {

namespace {

constexpr uint32_t arena_bytes = 4096;
constexpr FrameChannel::Kind kind = {algo_path, algo_magic, algo_text_max_bytes, arena_bytes};

} // namespace

AlgoChannel::AlgoChannel(struct ev_loop *loop, std::function<void()> closed)
    : channel_(loop, kind, {[] {}, [](uint32_t) {}, std::move(closed)}) {}

void AlgoChannel::tell(const std::string &text, uint64_t time_us) {
    send(algo_event, time_us, text.c_str(), text.size() + 1);
}

void AlgoChannel::tell(const TrackDirection &direction, uint64_t time_us) {
    send(algo_direction, time_us, &direction, sizeof direction);
}

void AlgoChannel::send(AlgoWhat what, uint64_t time_us, const void *payload, size_t bytes) {
    AlgoRecord record{};
    record.magic = algo_magic;
    record.kind = venc_frame;
    record.published_us = monotonic_us();
    record.info.what = what;
    record.info.len = static_cast<uint32_t>(bytes);
    record.info.timestamp_us = time_us;
    if (!channel_.publish(record, static_cast<const uint8_t *>(payload), record.info.len)) {
        lost_.fetch_add(1, std::memory_order_relaxed);
    }
}

} // namespace board
