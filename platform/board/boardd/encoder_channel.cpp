#include "board/boardd/encoder_channel.h"

#include "board/client/control_call.h"

namespace board {

namespace {

FrameChannel::Kind kind_of(int32_t index) {
    return {venc_paths[index], venc_magic, venc_frame_max_bytes, venc_frame_max_bytes + sizeof(VencRecord)};
}

} // namespace

EncoderChannel::EncoderChannel(struct ev_loop *loop, int32_t index, const Callbacks &callbacks)
    : StreamChannel(loop, kind_of(index), callbacks.closed), callbacks_(callbacks) {}

void EncoderChannel::encoder_starts(const VencChannel &encoding) {
    const std::lock_guard<std::mutex> lock(mutex_);
    encoding_ = encoding;
    next_seq_ = 0;
    wants_key_ = true;
}

bool EncoderChannel::has_frames() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return next_seq_ > 0;
}

void EncoderChannel::take(const EncodedFrame &frame) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++counts_.frames;
    counts_.bytes += frame.length;
    counts_.key_frames += frame.is_key ? 1 : 0;
    const uint32_t seq = next_seq_++;
    if (seq == 0) {
        callbacks_.first_frame();
    }
    wants_key_ = wants_key_ && !frame.is_key;
    if (held() || wants_key_) {
        ++counts_.lost;
        return;
    }
    send_frame(frame, seq);
}

void EncoderChannel::send_frame(const EncodedFrame &frame, uint32_t seq) {
    VencRecord record{};
    record.magic = venc_magic;
    record.kind = venc_frame;
    record.published_us = monotonic_us();
    record.lost_before = lost_before_ ? 1 : 0;
    record.info.board0 = encoding_.pt == 0 ? 0 : 1;
    record.info.seq = seq;
    record.info.timestamp_us = frame.timestamp_us;
    record.info.len = frame.length;
    record.info.is_key = frame.is_key ? 1 : 0;
    record.info.board24 = static_cast<uint32_t>(encoding_.width) | static_cast<uint32_t>(encoding_.height)
                                                                       << 16;
    lost_before_ = !channel_.publish(record, frame.bytes, frame.length);
    counts_.lost += lost_before_ ? 1 : 0;
}

ChannelCounts EncoderChannel::counts() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return counts_;
}

} // namespace board
