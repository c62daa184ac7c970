// What the board's motion detector sees, and what it does not take for motion, on generated pictures and in
// virtual time: the classes that boardd uses, without boardd.

#include "bench/motion_score.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace {

using namespace bench;

constexpr int32_t scenes = 4;
constexpr int32_t rounds = 3;

double part_of(const std::vector<double> &sorted, double part) {
    return sorted.empty() ? 0 : sorted[static_cast<size_t>(part * static_cast<double>(sorted.size() - 1))];
}

void script() {
    std::map<Act, ActScore> sum;
    std::vector<double> delays_s;
    double seconds = 0;
    const auto begin = std::chrono::steady_clock::now();
    for (int32_t scene = 0; scene < scenes; ++scene) {
        const Score score = run_script(static_cast<uint32_t>(scene), rounds, board::Sensitivity());
        for (const auto &[act, one] : score.of) {
            sum[act].acts += one.acts;
            sum[act].told += one.told;
        }
        delays_s.insert(delays_s.end(), score.delays_s.begin(), score.delays_s.end());
        seconds += score.seconds;
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    ActScore others;
    std::puts("| what happens | times | told as motion |\n|---|---|---|");
    for (const auto &[act, one] : sum) {
        std::printf("| %s | %d | %d |\n", name_of(act), one.acts, one.told);
        if (act != Act::thing) {
            others.acts += one.acts;
            others.told += one.told;
        }
    }
    const ActScore things = sum[Act::thing];
    std::ranges::sort(delays_s);
    std::printf(
        "\nPrecision %.3f, recall %.3f, of %d things and %d other happenings. From the first pixel in the\n"
        "picture to motion: %.1f s median, %.1f s for 95 of 100, %.1f s at most. %.0f s of pictures in %.0f "
        "s.\n",
        static_cast<double>(things.told) / std::max(things.told + others.told, 1),
        static_cast<double>(things.told) / things.acts, things.acts, others.acts, part_of(delays_s, 0.5),
        part_of(delays_s, 0.95), part_of(delays_s, 1), seconds, took.count());
}

void delay() {
    std::printf(
        "\nFrom the first picture of a thing that is there at once to motion: %.1f s at most, of 50.\n",
        slowest_s(50));
}

void noise() {
    std::puts("\n| noise, luma | seconds | pictures with motion |\n|---|---|---|");
    for (const double sigma : {2.0, 4.0, 8.0}) {
        constexpr double seconds = 600;
        std::printf("| %.0f | %.0f | %d |\n", sigma, seconds, false_alarms(11, sigma, seconds));
    }
}

void sensitivity() {
    constexpr double heights[] = {16, 24, 32, 48, 64, 96};
    constexpr int32_t count = 8;
    std::puts("\nThe share that is told of things of a size:\n\n| sensitivity | 16 | 24 | 32 | 48 | 64 | 96 "
              "pixels high |\n|---|---|---|---|---|---|---|");
    for (int32_t level = 0; level <= 2 * board::level_max; ++level) {
        const bool lowest = level > board::level_max;
        const int32_t value = lowest ? level - board::level_max : level;
        std::printf("| %d%s |", value, lowest ? ", lowest" : "");
        for (const double height : heights) {
            Thing thing;
            thing.size = height;
            const double seen = share_seen(board::Sensitivity::of({&value, 1}, lowest), thing, count);
            std::printf(" %.2f |", seen);
        }
        std::puts("");
    }
}

} // namespace

int main() {
    script();
    delay();
    noise();
    sensitivity();
    return 0;
}
