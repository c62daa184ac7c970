/*
 * What the processes of channel_stress tell each other: one piece of memory that all of them map, made before
 * the first is forked. Plain counters and flags; nothing here goes over the channels that are under test.
 *
 * Threads and processes: any, all is atomic. Each field is written by the side that its group names.
 */
#ifndef STRESS_SCOREBOARD_H
#define STRESS_SCOREBOARD_H

#include <atomic>
#include <cstdint>

namespace stress {

/* The channels. On `steady` a frame goes out when every witness has released what it got before, so none may
 * ever be skipped, whatever hostile receivers hold. On `busy` two producers run freely, so a witness may be
 * behind while memory is short, and whatever it misses has to be accounted for. On `quiet` there is only what
 * the driver asks for: there it is measured how soon the memory of a killed receiver is back. */
enum Channel : uint32_t { steady, busy, quiet, channel_count };
constexpr const char *channel_paths[channel_count] = {"/run/stress_steady", "/run/stress_busy",
                                                      "/run/stress_quiet"};
constexpr const char *channel_names[channel_count] = {"steady", "busy", "quiet"};
constexpr uint32_t streaming_channels = 2; // the first two
constexpr uint32_t quiet_frames = 3;       // published at one request

constexpr uint32_t producers = 2; // of each streaming channel
constexpr uint32_t witnesses = 5; // well-behaved receivers of each streaming channel

/* How a witness waits. There are two that block, since those are woken in pairs. The last one differs:
 * `mixed` on steady, `slow` (holds some for a while) on busy. */
enum Manner : uint32_t { blocking, blocking_too, polling, on_loop, mixed, slow, manner_count };
constexpr const char *manner_names[manner_count] = {"blocking", "2nd blocking", "polling",
                                                    "libev",    "mixed",        "slow"};

constexpr Manner manner_of(uint32_t channel, uint32_t witness) {
    return witness < 4 ? static_cast<Manner>(witness) : channel == steady ? mixed : slow;
}

/* After this time something that should take none has failed. */
constexpr uint64_t patience_ns = 30'000'000'000;

using Count = std::atomic<uint64_t>;

/* How long something took, over all processes: eight buckets for each power of two. */
struct Durations {
    Count buckets[64 * 8];
    Count longest_ns;
    Count count;

    void add(uint64_t ns);
    /* The upper end of the bucket that a share of all is not above; 0 when there is none. */
    double us(double share) const;
};

/* Who sleeps on a word looks at the socket every 200 ms, so a wake-up that does not come shows as such a
 * delay. */
constexpr uint64_t late_from_ns = 150'000'000;

/* What a witness says of itself. */
struct WitnessSlot {
    Count taken;           // frames it has released and messages it has taken, in this generation
    Count seen[producers]; // the last broadcast of each producer
    Count retired;         // the generation that gave it up because the machine had kept it from running
};

struct Scoreboard {
    // driver
    Count generation; // of the broadcaster, from 1
    std::atomic<bool> restarting;
    std::atomic<bool> ending;
    std::atomic<bool> pause;
    Count end_generation; // this one is to end in order
    Count account_request;
    Count check_request;
    std::atomic<bool> churn; // publish on the quiet channel as fast as there is room
    Count quiet_request;     // counts requests to publish on the quiet channel
    Durations queries, reclaim_from_kill, reclaim_from_end;
    Count retirements_before; // of earlier generations

    // broadcaster
    Count serving; // the generation whose channels are open
    Count registered[channel_count];
    Count paused; // producers that wait
    Count account_done;
    Count check_done;
    Count quiet_done;
    Count quiet_attached;
    Count quiet_detached_ns; // when the memory of the last one was back
    Count published;
    Count sent; // to one receiver
    Count messages;
    Count no_room; // allocations that have to be tried again
    Count skips;
    Count given_up;
    Count attached;
    Count descriptors[2]; // at the first check, at the last
    Count heap_kb[2];
    Count anonymous_kb[2];
    Durations alloc, publish, send, message, full;

    // witnesses
    WitnessSlot slots[streaming_channels][witnesses];
    Count frames_taken;
    Count messages_taken;
    Count lost; // missing, and not accounted for
    Count torn;
    Count skipped[streaming_channels][witnesses];
    Count accounts; // balanced
    Count retirements;
    Count ends_seen;
    Durations delivery[manner_count];
    Count late[manner_count]; // how often it took longer than a receiver that was woken ever should
    Count late_ns[manner_count];

    // hostile receivers
    Count hostile_attached;
    Count forks;
    Count attempts_on_arena;

    // anyone
    Count failures;
    char first_failures[8][240];
};

/* Maps a new one, all zeros, shared with the children to come. */
Scoreboard *make_scoreboard();

/* Notes that something is not as it must be, and says so on standard error. */
[[gnu::format(printf, 2, 3)]] void fail(Scoreboard *board, const char *format, ...);

/* CLOCK_MONOTONIC: the same in all processes. */
uint64_t now_ns();

void pause_us(uint32_t us);

/* Adds how long `function` takes. */
template <typename Function>
auto timed(Durations *durations, Function function) {
    const uint64_t before = now_ns();
    const auto result = function();
    durations->add(now_ns() - before);
    return result;
}

/* True as soon as `condition()` is; false when it still is not after `deadline_ns`. */
template <typename Condition>
bool eventually(Condition condition, uint64_t deadline_ns = patience_ns) {
    const uint64_t end = now_ns() + deadline_ns;
    while (!condition()) {
        if (now_ns() >= end) {
            return condition();
        }
        pause_us(500);
    }
    return true;
}

/* Reproducible chance (xorshift64*). */
class Random {
  public:
    explicit Random(uint64_t seed) : state_(seed * 0x9e3779b97f4a7c15U + 0x1234567) {
        for (int i = 0; i < 4; ++i) {
            next();
        }
    }
    uint64_t next() {
        state_ ^= state_ >> 12;
        state_ ^= state_ << 25;
        state_ ^= state_ >> 27;
        return state_ * 0x2545f4914f6cdd1dU;
    }
    uint32_t word() { return static_cast<uint32_t>(next() >> 32); }
    /* 0 to `limit` - 1. */
    uint32_t below(uint32_t limit) { return word() % limit; }
    bool one_in(uint32_t number) { return below(number) == 0; }

  private:
    uint64_t state_;
};

} // namespace stress

#endif
