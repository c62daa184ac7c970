/*
 * Microphone and speaker of the board, at the pace of the clock: a thread that makes one turn of 20 ms after
 * the other, also when nobody plays or listens.
 *
 *     op_play ---> queue of 160 ms ---> volume ---> loudspeaker
 *                                         |
 *     microphone + burst -------------> engine ---> blocks of 40 ms ---> mic_path
 *
 * The thread follows CLOCK_MONOTONIC. When it comes late it makes up for it; when it is more than a second
 * late (the machine was asleep) it lets that time go, and the time stamps show the gap.
 *
 * Threads: everything here on the loop thread, but for the turns.
 */
#ifndef PLATFORM_BOARD_BOARDD_AUDIO_AUDIO_H
#define PLATFORM_BOARD_BOARDD_AUDIO_AUDIO_H

#include "board/boardd/audio/engine.h"
#include "board/boardd/audio/loudspeaker.h"
#include "board/boardd/audio/mic_channel.h"
#include "board/boardd/audio/microphone.h"
#include "board/boardd/audio/noise_burst.h"
#include "board/boardd/audio/sample_queue.h"
#include "board/scene_protocol.h"

#include <atomic>
#include <deque>
#include <functional>
#include <optional>
#include <thread>
#include <vector>

namespace board {

/* As the command line has it. */
struct AudioSettings {
    std::string microphone; /* microphone.h */
    std::string speaker;    /* loudspeaker.h */
    EchoSettings echo;
};

/* How much may wait for the speaker, and how many sounds may wait for room there. */
constexpr size_t speaker_queue_samples = 160 * samples_per_ms;
constexpr size_t plays_waiting_max = 32;

/* For the status. */
struct SpeakerState {
    bool enabled;
    bool cancelling;
    int32_t volume;
    uint64_t played; /* samples taken from the queue since boardd started */
    uint64_t heard;  /* of them, while the speaker was enabled */
};

class Audio {
  public:
    using PlayAnswer = std::function<void(int32_t result)>;

    /* `channel_lost`: clients can no longer reach the microphone. Throws std::runtime_error when channel or
     * file cannot be made. */
    Audio(struct ev_loop *loop, const AudioSettings &settings, std::function<void()> channel_lost);
    ~Audio();
    Audio(const Audio &) = delete;
    Audio &operator=(const Audio &) = delete;

    /* The board gets power: the microphone delivers; speaker and canceller are off, the volume is the default
     * one. Starting twice and stopping twice does nothing. */
    void start();
    void stop();

    /* Plays up to play_max_bytes. `answer` is called once, now or later: 0 when all of it is in the queue;
     * -ENODEV without power, also when it goes meanwhile; -EBUSY when too many wait already. */
    void play(std::vector<int16_t> samples, PlayAnswer answer);

    /* Who else hears what the microphone delivers: on the audio thread, in no time. Before the first start.
     */
    void on_sound(std::function<void(const Turn &turn)> listener) { listener_ = std::move(listener); }

    /* 0, or -ENODEV without power. */
    int32_t set_speaker(bool on);
    int32_t set_canceller(bool on);

    /* As above, and -EINVAL for a volume outside 0 to 100. */
    int32_t set_volume(int32_t volume);

    /* A noise that the microphone hears. `record` is sound. 0, or -ENODEV without power. */
    int32_t burst(const BurstRecord &record);

    MicChannel &channel() { return channel_; }

    /* For the status. */
    const MicChannel &channel() const { return channel_; }
    const Microphone &microphone() const { return *microphone_; }
    const Loudspeaker &loudspeaker() const { return *loudspeaker_; }
    bool running() const { return thread_.joinable(); }
    SpeakerState speaker() const;

  private:
    struct Play {
        std::vector<int16_t> samples;
        PlayAnswer answer;
    };

    static void on_room(struct ev_loop *loop, ev_async *watcher, int events);
    static void on_tick(struct ev_loop *loop, ev_timer *watcher, int events);
    void feed_queue();
    void watch_microphone();
    void make_turns();
    Turn turn();
    Turn next_played();

    struct ev_loop *loop_;
    EchoSettings echo_;
    MicChannel channel_;
    std::unique_ptr<Microphone> microphone_;
    std::unique_ptr<Loudspeaker> loudspeaker_;
    ev_async room_{};
    ev_timer tick_{};
    std::deque<Play> waiting_; /* for room in the queue */
    std::function<void(const Turn &turn)> listener_ = [](const Turn &) {};

    NoiseBurst burst_;
    SampleQueue queue_{speaker_queue_samples};
    std::atomic<bool> enabled_{false};
    std::atomic<bool> cancelling_{false};
    std::atomic<int32_t> volume_;
    std::atomic<uint64_t> played_{0};
    std::atomic<uint64_t> heard_{0};
    std::atomic<bool> ending_{false};
    std::optional<AudioEngine> engine_; /* made by start; then the thread's */
    std::thread thread_;
};

} // namespace board

#endif
