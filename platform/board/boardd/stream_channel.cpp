#include "board/boardd/stream_channel.h"

#include "board/client/control_call.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace board {

StreamChannel::StreamChannel(struct ev_loop *loop, const FrameChannel::Kind &kind,
                             std::function<void()> closed)
    : channel_(
          loop, kind,
          {[this] { repeat_answers(); }, [this](uint32_t serial) { used_up(serial); }, std::move(closed)}),
      magic_(kind.magic) {}

void StreamChannel::hold(Cause cause, const Answers &answers) {
    const std::lock_guard<std::mutex> lock(mutex_);
    change_hold(cause, answers);
}

void StreamChannel::release(Cause cause) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!holds_[index_of(cause)]) {
            return;
        }
        change_hold(cause, std::nullopt);
    }
    released();
}

/* Under the lock. */
const std::optional<Answers> &StreamChannel::in_force() const {
    const auto *found =
        std::find_if(std::begin(holds_), std::end(holds_),
                     [](const std::optional<Answers> &answers) { return answers.has_value(); });
    return found == std::end(holds_) ? holds_[0] : *found;
}

/* Under the lock. */
void StreamChannel::change_hold(Cause cause, const std::optional<Answers> &answers) {
    holds_[index_of(cause)] = answers;
    ++serial_;
    holds_changed();
    if (in_force()) {
        send_answers(*in_force());
    }
}

/* Under the lock. */
void StreamChannel::send_answers(const Answers &answers) {
    VencRecord record{}; // of an answer the record is the same on every channel
    record.magic = magic_;
    record.kind = answers.silent ? venc_silence : venc_answer;
    record.result = answers.result;
    record.count = answers.count;
    record.serial = serial_;
    record.published_us = monotonic_us();
    channel_.publish(record, nullptr, 0);
}

void StreamChannel::repeat_answers() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (in_force() && !in_force()->silent) {
        send_answers(*in_force());
    }
}

void StreamChannel::used_up(uint32_t serial) {
    bool current = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        current = serial == serial_ && holds_[0] && holds_[0]->count > 0;
    }
    if (current) {
        release(Cause::fault);
    }
}

} // namespace board
