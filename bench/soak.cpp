// Does the daemon hold what it needs no more? What it has after the first hundred of everything, and after a
// great many. All kinds of work at the same time, as fast as the daemon answers; small pictures (640x360), so
// that ten thousand of them take minutes. Nine of ten are JPEGs, since a raw frame takes a whole turn of the
// camera.

#include "camera.h"
#include "measure.h"
#include "process_figures.h"
#include "soak_work.h"
#include "stream_receiver.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <thread>
#include <vector>

namespace {

using bench::ProcessFigures;

constexpr long bar_kb = 64;
constexpr int stages = 4;

struct Amounts {
    int commands;
    int jpegs;
    int raw_frames;
    int changes;
    int cycles;

    Amounts operator+(const Amounts &other) const {
        return {commands + other.commands, jpegs + other.jpegs, raw_frames + other.raw_frames,
                changes + other.changes, cycles + other.cycles};
    }
};

constexpr Amounts first = {100, 90, 10, 100, 100};

/* A stage of the rest. */
Amounts stage_amounts() {
    const auto stage = [](int all, int done) {
        return bench::scaled((all - done + stages - 1) / stages, 10);
    };
    return {stage(100000, first.commands), stage(9000, first.jpegs), stage(1000, first.raw_frames),
            stage(10000, first.changes), stage(1000, first.cycles)};
}

/* All at once, to the end. A failure ends the benchmark. Result: how many pictures there were not. */
int work(const Amounts &amounts) {
    std::atomic<int> none = 0;
    const std::function<void()> parts[] = {
        [&] { bench::send_commands(amounts.commands); }, [&] { none += bench::take_jpegs(amounts.jpegs); },
        [&] { none += bench::take_raw_frames(amounts.raw_frames); },
        [&] { bench::change_settings(amounts.changes); }, [&] { bench::attach_and_detach(amounts.cycles); }};
    std::vector<std::thread> threads;
    for (const std::function<void()> &part : parts) {
        threads.emplace_back([&part] {
            try {
                part();
            } catch (const std::exception &failure) {
                std::fprintf(stderr, "soak: %s\n", failure.what());
                std::_Exit(1);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    return none;
}

void print(const Amounts &done, const ProcessFigures &figures) {
    std::printf("| %8d | %8d | %8d | %6d | %8ld | %d | %d |\n", done.commands, done.jpegs + done.raw_frames,
                done.changes, done.cycles, figures.private_kb, figures.descriptors, figures.threads);
    std::fflush(stdout);
}

/* True when the daemon holds as much as after the first hundred. */
bool soak(pid_t daemon) {
    std::printf(
        "| commands | pictures | settings changes | attached and detached | private memory beside the "
        "arenas, KB | descriptors | threads |\n|---|---|---|---|---|---|---|\n");
    Amounts done = first;
    int none = work(first);
    const ProcessFigures start = bench::settled_figures_of(daemon);
    print(done, start);
    ProcessFigures now = start;
    for (int i = 0; i < stages; ++i) {
        const Amounts amounts = stage_amounts();
        none += work(amounts);
        done = done + amounts;
        now = bench::settled_figures_of(daemon);
        print(done, now);
    }
    const long grown_kb = now.private_kb - start.private_kb;
    const bool good =
        std::abs(grown_kb) <= bar_kb && now.descriptors == start.descriptors && now.threads == start.threads;
    std::printf("\nPrivate memory %+ld KB from the first row to the last (bar: %ld KB), descriptors %+d, "
                "threads %+d: %s\n",
                grown_kb, bar_kb, now.descriptors - start.descriptors, now.threads - start.threads,
                good ? "equal" : "NOT EQUAL");
    std::printf("The camera answered %d of the requests that it had no picture in time.\n", none);
    return good;
}

bool run() {
    bench::Camera camera;
    camera.start_store(bench::Keeps::on_disk, bench::small_profile);
    camera.start_board();
    camera.start_daemon();
    const bench::StreamReceiver main_stream("/run/video_mainstream");
    const bench::StreamReceiver sub_stream("/run/video_substream");
    return soak(camera.pid("daemon"));
}

} // namespace

int main() {
    try {
        return run() ? 0 : 1;
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "soak: %s\n", failure.what());
        return 1;
    }
}
