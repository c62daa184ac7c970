// Whether all came, in order and whole (witness.h).

#include "witness.h"

#include <algorithm>

namespace stress {

namespace {

constexpr uint32_t beat_us = 20'000;
constexpr uint64_t stall_ns = 400'000'000;
constexpr uint64_t remembered_ns = 4'000'000'000;

unsigned long long wide(uint64_t value) {
    return value;
}

} // namespace

void Heartbeat::beat() {
    for (uint64_t last = now_ns(); !stop_; last = now_ns()) {
        pause_us(beat_us);
        if (now_ns() - last > stall_ns) {
            stalled_ns_ = now_ns();
        }
    }
}

bool Heartbeat::stalled() const {
    return stalled_ns_ != 0 && now_ns() - stalled_ns_ < remembered_ns;
}

void Checker::attached(uint64_t generation) {
    generation_ = generation;
    received_ = missing_ = 0;
    skipped_ = 0;
    std::fill_n(broadcasts_, producers, 0U);
    std::fill_n(directs_, producers, 0U);
    std::fill_n(messages_, producers, 0U);
    slot_->taken = 0;
    slot_->seen[0] = slot_->seen[1] = 0;
}

/* On steady none may be missing. On busy what is missing is added up, and has to be accounted for. */
void Checker::count_missing(uint32_t number, uint32_t *last, const char *what) {
    const uint32_t gap = number - *last - 1;
    *last = number;
    if (static_cast<int32_t>(gap) < 0) {
        fail(board_, "%s: the %s witness gets a %s twice, or late", channel_names[channel_], name(), what);
    } else if (gap > 0 && channel_ == steady) {
        board_->lost += gap;
        fail(board_, "%s: the %s witness misses %u before %s %u", channel_names[channel_], name(), gap, what,
             number);
    } else {
        missing_ += gap;
    }
}

void Checker::check_order(const Head &head) {
    const uint32_t producer = head.producer;
    if (head.content == Content::broadcast) {
        count_missing(head.number, &broadcasts_[producer], "broadcast");
        slot_->seen[producer] = head.number;
    } else if (head.content == Content::direct && head.target == witness_) {
        count_missing(head.number, &directs_[producer], "frame of its own");
    } else {
        fail(board_, "%s: the %s witness gets what was meant for somebody else", channel_names[channel_],
             name());
    }
    if (messages_[producer] > head.messages || (channel_ == steady && messages_[producer] != head.messages)) {
        fail(board_, "%s: the %s witness has %u messages before a frame where %u are due",
             channel_names[channel_], name(), messages_[producer], head.messages);
    }
}

/* All that was meant for this witness has come, or was counted as skipped. */
void Checker::check_account(const Head &head, uint32_t skipped) {
    const uint64_t expected = head.expected[witness_];
    if (received_ + skipped != expected) {
        board_->lost += expected - received_ - skipped;
        fail(board_, "%s: of %llu frames and messages the %s witness has %llu, and knows of %u skipped ones",
             channel_names[channel_], wide(expected), name(), wide(received_), skipped);
    }
    ++board_->accounts;
}

void Checker::take(const shbf_frame_t &frame) {
    Head head;
    if (!whole(frame.data, frame.size, &head) || head.channel != channel_ || head.generation != generation_) {
        ++board_->torn;
        fail(board_, "%s: the %s witness has a torn frame (number %u, %u bytes)", channel_names[channel_],
             name(), frame.number, frame.size);
        return;
    }
    const uint64_t delay_ns = now_ns() - head.published_ns;
    board_->delivery[manner()].add(delay_ns);
    if (delay_ns > late_from_ns && head.published_ns > late_until_ns_) {
        board_->late_ns[manner()] += delay_ns; // once for all that have come meanwhile
        ++board_->late[manner()];
        late_until_ns_ = now_ns();
    }
    if (head.content == Content::account) {
        check_account(head, frame.skipped);
    } else {
        check_order(head);
    }
    ++received_;
    ++board_->frames_taken;
    board_->skipped[channel_][witness_] += frame.skipped - skipped_;
    skipped_ = frame.skipped;
    if (channel_ == steady && skipped_ != 0) {
        fail(board_, "steady: the %s witness was skipped though it had released everything", name());
    }
    if (missing_ > skipped_) {
        board_->lost += missing_ - skipped_;
        fail(board_, "%s: %llu are missing for the %s witness, which knows of %u skipped ones",
             channel_names[channel_], wide(missing_), name(), skipped_);
    }
}

void Checker::look_again(const shbf_frame_t &frame) {
    Head head;
    if (!whole(frame.data, frame.size, &head)) {
        ++board_->torn;
        fail(board_, "%s: a frame changed while the %s witness held it", channel_names[channel_], name());
    }
}

void Checker::released() {
    ++slot_->taken;
}

void Checker::take_message(const void *bytes, uint32_t length) {
    Head head;
    if (!whole(bytes, length, &head) || head.content != Content::message || head.generation != generation_) {
        ++board_->torn;
        fail(board_, "%s: the %s witness has a torn message", channel_names[channel_], name());
        return;
    }
    count_missing(head.number, &messages_[head.producer], "message");
    const uint32_t frames = broadcasts_[head.producer];
    if (frames > head.frames || (channel_ == steady && frames != head.frames)) {
        fail(board_, "%s: the %s witness has %u frames before a message where %u are due",
             channel_names[channel_], name(), frames, head.frames);
    }
    ++received_;
    ++board_->messages_taken;
    ++slot_->taken;
}

void Checker::ended(int reason) {
    ++board_->ends_seen;
    if (board_->restarting || board_->ending || board_->generation != generation_) {
        return;
    }
    if (!heartbeat_.stalled()) {
        fail(board_, "%s: the %s witness lost its connection (%d)", channel_names[channel_], name(), -reason);
        return;
    }
    ++board_->retirements;
    slot_->retired = generation_;
}

} // namespace stress
