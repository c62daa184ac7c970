#include "board/boardd/encoder_channel.h"

#include "board/client/control_call.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace board {

EncoderChannel::EncoderChannel(struct ev_loop *loop, int32_t index, Callbacks callbacks)
    : callbacks_(std::move(callbacks)),
      channel_(loop, venc_paths[index],
               {[this] { repeat_answers(); }, [this](uint32_t serial) { used_up(serial); },
                [this] { callbacks_.closed(); }}) {}

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
    if (in_force() || wants_key_) {
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

void EncoderChannel::hold(Cause cause, const Answers &answers) {
    const std::lock_guard<std::mutex> lock(mutex_);
    holds_[index_of(cause)] = answers;
    holds_changed();
}

void EncoderChannel::release(Cause cause) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!holds_[index_of(cause)]) {
            return;
        }
        holds_[index_of(cause)].reset();
        holds_changed();
    }
    callbacks_.need_key();
}

/* Under the lock. */
const std::optional<Answers> &EncoderChannel::in_force() const {
    const auto *found =
        std::find_if(std::begin(holds_), std::end(holds_),
                     [](const std::optional<Answers> &answers) { return answers.has_value(); });
    return found == std::end(holds_) ? holds_[0] : *found;
}

/* Under the lock. */
void EncoderChannel::holds_changed() {
    ++serial_;
    wants_key_ = true;
    if (in_force()) {
        send_answers(*in_force());
    }
}

/* Under the lock. */
void EncoderChannel::send_answers(const Answers &answers) {
    VencRecord record{};
    record.magic = venc_magic;
    record.kind = answers.silent ? venc_silence : venc_answer;
    record.result = answers.result;
    record.count = answers.count;
    record.serial = serial_;
    record.published_us = monotonic_us();
    channel_.publish(record, nullptr, 0);
}

void EncoderChannel::repeat_answers() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (in_force() && !in_force()->silent) {
        send_answers(*in_force());
    }
}

void EncoderChannel::used_up(uint32_t serial) {
    bool current = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        current = serial == serial_ && holds_[0] && holds_[0]->count > 0;
    }
    if (current) {
        release(Cause::fault);
    }
}

ChannelCounts EncoderChannel::counts() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return counts_;
}

} // namespace board
