/*
 * The well-behaved receivers of channel_stress: processes that check every frame and every message that
 * comes, and whether all came. Each waits in a manner of its own (scoreboard.h).
 */
#ifndef STRESS_WITNESS_H
#define STRESS_WITNESS_H

#include "content.h"
#include "libshbf_receiver.h"

#include <thread>

namespace stress {

/* Notices when the machine keeps this process from running, as it may when it is loaded. */
class Heartbeat {
  public:
    Heartbeat() : thread_([this] { beat(); }) {}
    ~Heartbeat() {
        stop_ = true;
        thread_.join();
    }
    Heartbeat(const Heartbeat &) = delete;
    Heartbeat &operator=(const Heartbeat &) = delete;

    /* Has the process, in the last seconds, stood still for a good part of the time that a receiver has? */
    bool stalled() const;

  private:
    void beat();

    std::atomic<bool> stop_{false};
    std::atomic<uint64_t> stalled_ns_{0}; // when; 0: never
    std::thread thread_;
};

/* What a witness knows of the stream; a failure is noted on the scoreboard. One thread. */
class Checker {
  public:
    Checker(Scoreboard *board, Channel channel, uint32_t witness)
        : board_(board), channel_(channel), witness_(witness), slot_(&board->slots[channel][witness]) {}

    Manner manner() const { return manner_of(channel_, witness_); }

    /* Attached to the broadcaster of `generation`, or a later one: counts anew. */
    void attached(uint64_t generation);
    /* A frame came. */
    void take(const shbf_frame_t &frame);
    /* Is a frame that is held what it was when it came? */
    void look_again(const shbf_frame_t &frame);
    /* A frame has been released. */
    void released();
    void take_message(const void *bytes, uint32_t length);
    /* The end of the connection: is there a reason? */
    void ended(int reason);

  private:
    void check_order(const Head &head);
    void check_account(const Head &head, uint32_t skipped);
    void count_missing(uint32_t number, uint32_t *last, const char *what);
    const char *name() const { return manner_names[manner()]; }

    Scoreboard *board_;
    Channel channel_;
    uint32_t witness_;
    WitnessSlot *slot_;
    uint64_t generation_ = 0;
    uint64_t received_ = 0;
    uint64_t missing_ = 0;
    uint32_t skipped_ = 0;
    uint32_t broadcasts_[producers]{};
    uint32_t directs_[producers]{};
    uint32_t messages_[producers]{};
    uint64_t late_until_ns_ = 0;
    Heartbeat heartbeat_;
};

/* Attaches again and again, until Scoreboard::ending. In a process of its own. Result: its exit status. */
int run_witness(Scoreboard *board, Channel channel, uint32_t witness);

} // namespace stress

#endif
