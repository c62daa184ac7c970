#include "scoreboard.h"

#include <bit>
#include <cstdarg>
#include <cstdio>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

namespace stress {

namespace {

uint32_t bucket_of(uint64_t ns) {
    const uint64_t value = ns < 8 ? 8 : ns;
    const auto power = static_cast<uint32_t>(std::bit_width(value)) - 1;
    return power * 8 + static_cast<uint32_t>(value >> (power - 3) & 7);
}

double upper_end_ns(uint32_t bucket) {
    return static_cast<double>(1ULL << (bucket / 8)) * (1.0 + (bucket % 8 + 1) / 8.0);
}

} // namespace

void Durations::add(uint64_t ns) {
    buckets[bucket_of(ns)].fetch_add(1, std::memory_order_relaxed);
    count.fetch_add(1, std::memory_order_relaxed);
    uint64_t longest = longest_ns.load(std::memory_order_relaxed);
    while (ns > longest && !longest_ns.compare_exchange_weak(longest, ns, std::memory_order_relaxed)) {
    }
}

double Durations::us(double share) const {
    uint64_t left = static_cast<uint64_t>(share * static_cast<double>(count.load()));
    for (uint32_t bucket = 0; bucket < 64 * 8 && count.load() != 0; ++bucket) {
        const uint64_t here = buckets[bucket].load(std::memory_order_relaxed);
        if (here > left) {
            return upper_end_ns(bucket) / 1000.0;
        }
        left -= here;
    }
    return static_cast<double>(longest_ns.load()) / 1000.0;
}

Scoreboard *make_scoreboard() {
    void *memory =
        mmap(nullptr, sizeof(Scoreboard), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? nullptr : static_cast<Scoreboard *>(memory);
}

void fail(Scoreboard *board, const char *format, ...) {
    char text[sizeof board->first_failures[0]];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const uint64_t number = board->failures.fetch_add(1);
    constexpr uint64_t kept = sizeof board->first_failures / sizeof board->first_failures[0];
    if (number < kept) {
        snprintf(board->first_failures[number], sizeof text, "%s", text);
        fprintf(stderr, "channel_stress: FAILED: %s\n", text);
    }
}

uint64_t now_ns() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<uint64_t>(now.tv_nsec);
}

void pause_us(uint32_t us) {
    usleep(us);
}

} // namespace stress
