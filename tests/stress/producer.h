/*
 * The producers of channel_stress: threads of the broadcaster's process, two for each streaming channel,
 * which publish as the daemon's do: allocate, fill, cut to size, broadcast; and send to one receiver; and
 * send messages.
 */
#ifndef STRESS_PRODUCER_H
#define STRESS_PRODUCER_H

#include "content.h"
#include "libshbfev.h"

#include <functional>
#include <mutex>

namespace stress {

/* What the producers of a channel and its loop side share. */
struct Stage {
    Scoreboard *board;
    Channel channel;
    shbfev_brd_t *brd;
    uint64_t generation;
    std::atomic<bool> stop{false};
    std::atomic<bool> closing{false};   // receivers may go at any moment
    std::atomic<bool> destroyed{false}; // producers go on, and reach nobody
    std::mutex gate;                    // steady: who publishes something that witnesses get
    std::atomic<int32_t> witness_ids[witnesses]{};
    std::atomic<int32_t> latest_id{0};
    Count expected[witnesses]{}; // frames and messages meant for each witness so far

    bool is_witness(int32_t id) const;
    bool retired(uint32_t witness) const {
        return board->slots[channel][witness].retired.load() == generation;
    }
    /* Are the producers to end, whatever they are at? */
    bool over() const { return stop || board->failures.load() != 0; }
};

/* Waits until every witness has taken all that was meant for it. False when producers are to end. */
bool wait_for_witnesses(Stage *stage);

/* Allocates, trying again while receivers hold too much; null when producers are to end. */
uint8_t *allocate(Stage *stage, uint32_t size);

class Producer {
  public:
    Producer(Stage *stage, uint32_t number, uint64_t seed) : stage_(stage), number_(number), random_(seed) {}

    /* Until the stage stops. Waits while the scoreboard says pause. */
    void run();

  private:
    void step();
    void broadcast();
    void send_to_witness();
    void send_to_latest();
    void broadcast_message();
    void message_latest();
    void play_with_memory();
    void gated(const std::function<void()> &publish);
    void keep_pace() const;
    uint8_t *filled_buffer(Head head) const;
    Head next_head(Content content, uint32_t target);
    uint32_t some_size();

    Stage *stage_;
    uint32_t number_;
    Random random_;
    uint32_t broadcasts_ = 0;
    uint32_t messages_ = 0;
    uint32_t directs_[witnesses]{};
};

} // namespace stress

#endif
