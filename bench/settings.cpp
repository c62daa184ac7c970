// How long a change of a setting takes from its writer to the board: the camera's own chain, and Redis in the
// place of its store. All in turn, round after round, each with a board that streams two small pictures.

#include "board_call.h"
#include "measure.h"
#include "settings_path.h"

#include <cstdio>
#include <exception>
#include <functional>
#include <poll.h>
#include <stdexcept>
#include <sys/vfs.h>
#include <unistd.h>

namespace {

using bench::Keeps;
using bench::Samples;

constexpr int rounds = 5;
constexpr int changes_per_round = 200;
constexpr int changes_first = 10; // of each round, not counted
constexpr uint64_t pause_ns = 2000000;
constexpr int patience_ms = 20000;
constexpr decltype(statfs::f_type) tmpfs_magic = 0x01021994;

struct Contender {
    std::function<std::unique_ptr<bench::SettingsPath>(Keeps, int)> make;
    Keeps keeps;
    std::string name = {};
    Samples called = {};
    Samples stored = {};
    Samples board = {};
};

BoardCall next_call(int reports) {
    pollfd readable = {reports, POLLIN, 0};
    BoardCall call{};
    if (poll(&readable, 1, patience_ms) != 1 || read(reports, &call, sizeof call) != sizeof call) {
        throw std::runtime_error("a change did not reach the board");
    }
    return call;
}

void measure(Contender *contender, const int (&reports)[2], int changes) {
    const auto path = contender->make(contender->keeps, reports[1]);
    contender->name = path->name();
    sync(); // what the one before it has left to the disk
    for (int i = -changes_first; i < changes; ++i) {
        bench::wait_until_ns(bench::now_ns() + pause_ns);
        const bool flipped = i % 2 == 0; // the first one is: the board is told of changes only
        const uint64_t start_ns = bench::now_ns();
        path->change(flipped);
        const uint64_t stored_ns = bench::now_ns();
        const BoardCall call = next_call(reports[0]);
        if (call.flipped != (flipped ? 1 : 0) || call.result < 0) {
            throw std::runtime_error("the board was told something else");
        }
        if (i >= 0) {
            contender->called.add_ns(call.called_ns - start_ns);
            contender->stored.add_ns(stored_ns - start_ns);
            contender->board.add_ns(call.answered_ns - call.called_ns);
        }
    }
}

void print(const Contender &contender, double floor_us) {
    std::printf("| %-44s | %6.0f | %6.0f | %7.0f | %5.2f | %6.0f | %6.0f | %6.0f |\n", contender.name.c_str(),
                contender.called.us(0.5), contender.called.us(0.99), contender.called.us(1),
                contender.called.us(0.5) / floor_us, contender.stored.us(0.5), contender.stored.us(0.99),
                contender.board.us(0.5));
}

/* What is said about durability is worth nothing where a disk is none. */
void look_at_disk() {
    const support::ScratchRunDir directory;
    struct statfs about {};
    if (statfs(directory.path().c_str(), &about) == 0 && about.f_type == tmpfs_magic) {
        std::printf("NO DISK: %s is in memory, set TMPDIR to a directory on a disk\n\n",
                    directory.path().c_str());
    }
}

void compare() {
    std::vector<Contender> contenders;
    for (const Keeps keeps : {Keeps::on_disk, Keeps::in_memory}) {
        contenders.push_back({bench::make_floor, keeps});
        contenders.push_back({bench::make_strell, keeps});
#ifdef BENCH_REDIS
        contenders.push_back({bench::make_redis, keeps});
#endif
    }
    int reports[2];
    if (pipe(reports) != 0) { // inherited by those who report
        bench::fail("pipe");
    }
    const int changes = bench::scaled(changes_per_round, changes_first);
    for (int round = 0; round < rounds; ++round) {
        for (Contender &contender : contenders) {
            measure(&contender, reports, changes);
        }
    }
    std::printf("From the writer's call to the call of the board, %d changes each in %d rounds\n\n",
                changes * rounds, rounds);
    std::printf("| path | p50 us | p99 us | max us | p50 / floor | writer knows: p50 us | p99 us | board "
                "answers: p50 us |\n|---|---|---|---|---|---|---|---|\n");
    double floor_us = 0;
    for (const Contender &contender : contenders) {
        const bool is_floor = contender.name.rfind("floor", 0) == 0;
        floor_us = is_floor ? contender.called.us(0.5) : floor_us;
        print(contender, floor_us);
    }
#ifndef BENCH_REDIS
    std::printf("\nWithout Redis, of which redis-server or libhiredis-dev is not installed: "
                "./dev bench settings --peers installs both.\n");
#endif
}

} // namespace

int main() {
    try {
        look_at_disk();
        compare();
        return 0;
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "settings: %s\n", failure.what());
        return 1;
    }
}
