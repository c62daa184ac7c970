/*
 * A receiver of a stream that counts what it loses, on a thread of its own, while a test does its worst
 * elsewhere.
 */
#ifndef TESTS_DAEMON_WITNESS_H
#define TESTS_DAEMON_WITNESS_H

#include "libboardav.h"
#include "support/system.h"

#include <atomic>
#include <cstring>
#include <thread>

namespace daemon_test {

/* `Info` is the stream's header: VideoFrameInfo or AudioFrameInfo. */
template <typename Info>
class WitnessOf {
  public:
    /* Attaches, and counts from the first frame on. */
    explicit WitnessOf(const char *path) : receiver_(support::attach(path)) {
        thread_ = std::thread([this] { watch(); });
    }
    ~WitnessOf() { end(); }
    WitnessOf(const WitnessOf &) = delete;
    WitnessOf &operator=(const WitnessOf &) = delete;

    /* True when so many further frames come. */
    bool sees(uint32_t frames) const {
        const uint32_t goal = frames_ + frames;
        return support::eventually([&] { return frames_ >= goal; });
    }

    uint32_t frames() const { return frames_; }

    /* Frames that the encoder counted and that did not come; frames that this receiver was too slow for
     * (they are among the former); times that the count did not go up, as when an encoder starts anew. */
    uint32_t lost() const { return lost_; }
    uint32_t skipped() const { return skipped_; }
    uint32_t restarts() const { return restarts_; }

  private:
    void end() {
        ending_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
    }

    void watch() {
        constexpr int32_t look_up_ms = 100;
        shbf_event_t event;
        while (!ending_ && receiver_ != nullptr) {
            const int32_t result = shbf_rcv_next(receiver_.get(), &event, look_up_ms);
            if (result < 0) {
                return;
            }
            if (result == 1 && event.kind == SHBF_EVENT_FRAME) {
                count(event.frame);
                shbf_rcv_release(receiver_.get(), &event.frame);
            }
        }
    }

    void count(const shbf_frame_t &frame) {
        Info info{};
        std::memcpy(&info, frame.data, sizeof info);
        if (frames_ > 0 && info.seq <= last_) {
            ++restarts_;
        } else if (frames_ > 0) {
            lost_ += info.seq - last_ - 1;
        }
        last_ = info.seq;
        skipped_ += frame.skipped;
        ++frames_;
    }

    support::ReceiverHandle receiver_;
    std::atomic<bool> ending_{false};
    std::atomic<uint32_t> frames_{0};
    std::atomic<uint32_t> lost_{0};
    std::atomic<uint32_t> skipped_{0};
    std::atomic<uint32_t> restarts_{0};
    uint32_t last_ = 0; // the thread's
    std::thread thread_;
};

using Witness = WitnessOf<VideoFrameInfo>;
using SoundWitness = WitnessOf<AudioFrameInfo>;

} // namespace daemon_test

#endif
