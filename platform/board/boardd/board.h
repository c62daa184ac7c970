/*
 * The board: one sensor and two encoders, as hardware has them.
 *
 *     idle --init--> starting --frames of both encoders, or patience is over--> running
 *       ^-------------- power_off, or the source fails while starting ------------'
 *
 * A source that fails or stalls later does not end anything: it is tried again every second, and when it has
 * brought no picture for source_patience_ms the streams report failure until it does.
 *
 * Threads: the loop thread, but for take_raw (capture) and what the encoders call (encoder_channel.h).
 */
#ifndef PLATFORM_BOARD_BOARDD_BOARD_H
#define PLATFORM_BOARD_BOARDD_BOARD_H

#include "board/boardd/capture.h"
#include "board/boardd/encoder.h"
#include "board/boardd/encoder_channel.h"
#include "board/boardd/picture/picture.h"
#include "board/boardd/picture/snapshots.h"

#include <array>
#include <ev.h>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace board {

/* How long board_system_init waits for frames before it lets them come later. Starting encoders and capture
 * comes on top, and a client waits for init_timeout_ms in all. */
constexpr int32_t init_patience_ms = 1700;
/* How long the streams are silent before they report that the source has failed, ... */
constexpr int32_t source_patience_ms = 3000;
/* ... after which time a source that brings nothing, and no error either, is started anew, ... */
constexpr int32_t source_stuck_ms = 10'000;
/* ... and how long after a failure the source or an encoder is tried again. */
constexpr int32_t retry_ms = 1000;

enum class Phase { idle, starting, running };

class Board : public RawFrameSink {
  public:
    using InitAnswer = std::function<void(int32_t result)>;

    /* `channel_lost` is called when clients can no longer reach an encoder channel. Throws std::runtime_error
     * when the channels cannot be served. */
    Board(struct ev_loop *loop, Source source, const std::function<void()> &channel_lost);
    ~Board() override;
    Board(const Board &) = delete;
    Board &operator=(const Board &) = delete;

    /* 0, or -EINVAL for a profile that the board does not offer; it then goes on as before. */
    int32_t set_profile(const VencConfig &profile);

    /*
     * Starts everything with the last profile. `answer` is called once, now or later: 0; -EINVAL without a
     * profile; -EALREADY when it runs; -EIO when the source has failed; -ECANCELED after power_off.
     */
    void init(int32_t bind_status, InitAnswer answer);

    /* Stops everything and forgets the profile. */
    void power_off();

    /* 0, or -ENODEV while the board is idle. `index` is checked. */
    int32_t request_key_frame(int32_t index);

    /* Whom to tell when power comes (init begins) and goes, on the loop thread; before the loop runs. */
    void on_power(std::function<void(bool on)> power) { power_ = std::move(power); }

    /* Who else looks at the pictures: on the capture's thread, before anything is drawn into them. Before the
     * loop runs. */
    using Onlooker = std::function<void(const Plane &y, uint64_t time_us, uint32_t look)>;
    void on_picture(Onlooker onlooker) { onlooker_ = std::move(onlooker); }

    /*
     * Lets the streams rest, or go on with a key frame; the capture goes on. Nothing happens when they do
     * already. Not while the board is idle.
     */
    void set_streaming(bool on);

    /*
     * A new target for one encoder, in bit/s; less than bitrate_min becomes that. It goes on without a break
     * where it can, else it starts anew. 0, -ENODEV while the board is idle, or -EINVAL for what this board
     * does not have.
     */
    int32_t set_bitrate(uint32_t index, uint32_t bitrate);

    /* How the picture looks; changed by the controls. */
    Picture &picture() { return picture_; }
    Snapshots &snapshots() { return snapshots_; }

    EncoderChannel &channel(int32_t index) { return *channels_[static_cast<size_t>(index)]; }

    /* For the status. */
    const EncoderChannel &channel(int32_t index) const { return *channels_[static_cast<size_t>(index)]; }
    Phase phase() const { return phase_; }
    bool streaming() const { return streaming_; }
    int32_t bind_status() const { return bind_status_; }
    const std::optional<VencConfig> &profile() const { return profile_; }
    const Source &source() const { return source_; }
    const std::string &source_error() const { return source_error_; } /* empty while it is well */
    uint32_t captured() const { return captured_before_ + (capture_ ? capture_->frames() : 0); }

  private:
    static constexpr size_t channel_count = venc_channels;

    void take_raw(GstBuffer *buffer, GstCaps *caps) override;
    void look_at(const Plane &y, uint32_t look) override;
    static void on_progress(struct ev_loop *loop, ev_async *watcher, int events);
    static void on_init_deadline(struct ev_loop *loop, ev_timer *watcher, int events);
    static void on_retry(struct ev_loop *loop, ev_timer *watcher, int events);
    static void on_tick(struct ev_loop *loop, ev_timer *watcher, int events);

    void stop_everything();
    void start_encoder(size_t index);
    void stop_encoder(size_t index);
    void encoder_failed(size_t index, const std::string &why);
    void start_capture();
    void stop_capture();
    void capture_failed(const std::string &why);
    void capture_ended();
    void change_running(const VencConfig &old_profile);
    void check_progress();
    void finish_init(int32_t result);
    void watch_source();
    void retry_soon();

    struct ev_loop *loop_;
    Source source_;
    Phase phase_ = Phase::idle;
    std::optional<VencConfig> profile_;
    int32_t bind_status_ = 0;
    InitAnswer init_answer_;
    std::function<void(bool on)> power_ = [](bool) {};
    Onlooker onlooker_ = [](const Plane &, uint64_t, uint32_t) {};
    std::string source_error_;
    uint32_t captured_before_ = 0; /* frames of captures that are gone */
    uint32_t captured_seen_ = 0;
    ev_tstamp last_picture_ = 0; /* loop time when captured() last grew */
    ev_tstamp capture_started_ = 0;

    std::atomic<bool> streaming_{true};
    Picture picture_;
    Snapshots snapshots_;

    ev_async progress_{};
    ev_timer init_deadline_{};
    ev_timer retry_{};
    ev_timer tick_{};

    std::array<std::unique_ptr<EncoderChannel>, channel_count> channels_;
    std::mutex encoders_mutex_; /* guards the pointers against take_raw */
    std::array<std::unique_ptr<Encoder>, channel_count> encoders_;
    std::unique_ptr<Capture> capture_;
};

} // namespace board

#endif
