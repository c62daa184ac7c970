/*
 * One round of one transport: a producer and its receivers, processes of their own, from their start to their
 * end, and what each of them measured.
 */
#ifndef BENCH_CHANNEL_ROUND_H
#define BENCH_CHANNEL_ROUND_H

#include "transport.h"

#include <functional>
#include <optional>

namespace bench {

struct Load {
    uint32_t size; // bytes of a frame
    int receivers; // receivers_most at the most
    int rate_hz;   // 0: flat out, for flat_out_ms
    bool pinned;   // all processes on one core
    bool whole;    // the producer writes, and receivers read, all bytes; else the first and the last ones
    int frames;    // how many are sent, frames_most at the most
};

constexpr int receivers_most = 8;
constexpr int frames_most = 100000;
constexpr int flat_out_ms = 300;
constexpr uint32_t frame_max = 409600; // the payload of the daemon's main stream
constexpr uint32_t capacity_max = frame_max + 32;

/* Latencies and losses are those of the receiver that has the most. */
struct Round {
    double latency_p50_us; // from just before the publish call until the receiver has read the frame
    double latency_p99_us;
    double latency_max_us;
    double publish_p50_us; // the publish call alone
    double publish_p99_us;
    double sender_cpu_us;   // per frame and receiver, all threads of the process
    double receiver_cpu_us; // per frame, mean over the receivers
    double lost;            // share of the frames, 0 to 1
    double received_hz;     // frames a second at the slowest receiver
};

/*
 * Runs it. Result: nothing, and a message, when one of the processes failed or hung. `watch`, if there is
 * one, is called with the processes, the producer last, before any of them has begun. Each calls getpgid,
 * which nobody else does, just before and after the frames that count.
 */
std::optional<Round> run_round(const TransportKind &kind, const Load &load,
                               const std::function<void(const std::vector<pid_t> &)> &watch = nullptr);

} // namespace bench

#endif
