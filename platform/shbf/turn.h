/*
 * One use of a channel: its lock, and the system calls that become due under it, which are made when it has
 * been let go. Internal to libshbf.
 */
#ifndef SHBF_TURN_H
#define SHBF_TURN_H

#include "shbf/channel.h"

namespace shbf {

/* Receivers whose descriptors or pages are used outside the lock. They stay until `drop_pins`. */
struct Pinned {
    uint32_t count = 0;
    Receiver *receivers[receivers_max];
};

/* Under the lock. */
void pin(Pinned *pinned, Receiver *receiver);
/* Not under the lock. */
void drop_pins(Channel *channel, const Pinned &pinned);

/* Under the lock: waits, without it, until nobody has `pins` any more. */
void wait_for_pins(Channel *channel, const std::atomic<int32_t> &pins);

class Turn {
  public:
    /* Locks. */
    explicit Turn(Channel *channel);
    /* Unlocks, wakes who is to be woken. */
    ~Turn();
    Turn(const Turn &) = delete;
    Turn &operator=(const Turn &) = delete;

    /* There is something new for `receiver`, an attached one: it is woken if it sleeps. */
    void entry_for(const Receiver *receiver) { entries_ |= 1u << receiver->index; }
    /* The same for a packet, which itself wakes who sleeps on the socket. */
    void packet_for(const Receiver *receiver) { packets_ |= 1u << receiver->index; }

    /* `receiver`, which nobody else knows any more, is woken for the last time. */
    void wake_last(const Receiver *receiver);

    /* The loop side is told of an error; once for all that come before it looks. */
    void report(Receiver *receiver, int error);

  private:
    void find_sleepers();

    Channel *channel_;
    Pinned on_word_; // sleepers, by how they sleep
    Pinned on_socket_;
    uint32_t on_bell_ = 0; // bits
    uint32_t entries_ = 0; // a bit for each index
    uint32_t packets_ = 0;
    bool tell_loop_ = false;
};

} // namespace shbf

#endif
