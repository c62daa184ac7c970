/*
 * The board's analytics: motion, tracking and abnormal sound, beside the frames and the sound that they are
 * about.
 *
 *     capture ---> FrameTap ---> thread "analytics": MotionDetector -+-> MotionReport -+-> AlgoChannel
 *                                                                    '-> TrackRule ----'       ^
 *     audio thread ---> SoundDetector ---------------------------------------------------------'
 *
 * Pictures are looked at while somebody wants to hear of motion, or to follow it, and the board has power;
 * sound while somebody wants to hear of it. What is not wanted costs nothing.
 *
 * Threads: made, destroyed and changed on the loop thread; look_at on the capture's, hear on the audio
 * thread, one after the other.
 */
#ifndef PLATFORM_BOARD_BOARDD_ANALYTICS_ANALYTICS_H
#define PLATFORM_BOARD_BOARDD_ANALYTICS_ANALYTICS_H

#include "board/boardd/analytics/algo_channel.h"
#include "board/boardd/analytics/frame_tap.h"
#include "board/boardd/analytics/motion_report.h"
#include "board/boardd/analytics/sound_detector.h"
#include "board/boardd/analytics/track_rule.h"

#include <thread>

namespace board {

/* What is wanted. */
struct AnalyticsSettings {
    bool detecting = false; /* the library wants to hear of motion and sound */
    bool tracking = false;  /* ... and of directions */
    bool motion = true;     /* start_md, stop_md */
    Sensitivity sensitivity;
    int32_t sound_threshold = sound_threshold_default;

    bool operator==(const AnalyticsSettings &) const = default;
};

/* For the status. All wrap. */
struct AnalyticsCounts {
    uint32_t frames;     /* that were looked at */
    uint32_t relearnt;   /* times that the background was */
    uint32_t events;     /* texts about motion */
    uint32_t directions; /* told */
    uint32_t sounds;     /* texts about sound */
};

class Analytics {
  public:
    /* `channel_lost`: the library can no longer attach. Throws std::runtime_error. */
    Analytics(struct ev_loop *loop, std::function<void()> channel_lost);
    ~Analytics();
    Analytics(const Analytics &) = delete;
    Analytics &operator=(const Analytics &) = delete;

    /* Holds from the next picture and the next sound on. */
    void set(const AnalyticsSettings &settings);
    const AnalyticsSettings &settings() const { return settings_; }

    /* A picture, before anything is drawn into it; `time_us` of CLOCK_MONOTONIC, `look` as
     * MotionDetector::see has it. Valid during the call. */
    void look_at(const Plane &y, uint64_t time_us, uint32_t look) { tap_.offer(y, time_us, look); }

    /* The next samples from the microphone, as they are delivered: at most a turn. */
    void hear(std::span<const int16_t> samples);

    AnalyticsCounts counts() const;

  private:
    void work();
    void follow_settings();
    void judge(const TappedFrame &frame);
    void tell(const std::optional<std::string> &text, uint64_t time_us);

    AlgoChannel channel_;
    FrameTap tap_;
    AnalyticsSettings settings_; /* the loop thread's, written under the lock */
    mutable std::mutex mutex_;   /* guards it against the thread */
    std::atomic<bool> ending_{false};
    std::atomic<bool> hearing_{false};
    std::atomic<int32_t> sound_threshold_{sound_threshold_default};
    std::atomic<uint32_t> frames_{0};
    std::atomic<uint32_t> relearnt_{0};
    std::atomic<uint32_t> events_{0};
    std::atomic<uint32_t> directions_{0};
    std::atomic<uint32_t> sounds_{0};

    /* The thread's. */
    AnalyticsSettings used_;
    bool watching_ = false; /* motion is wanted for events */
    MotionDetector detector_;
    MotionReport report_;
    TrackRule rule_;

    /* The audio thread's. */
    SoundDetector ear_;
    bool heard_ = false;

    std::thread thread_;
};

} // namespace board

#endif
