// What the daemon adds to its library: frames a second from a board that has one at once, through the
// daemon's thread for the main stream to four receivers, beside a bare loop that does nothing else; in turn,
// round after round. And its processor time at camera rate, with the real board and four receivers.

#include "camera.h"
#include "libboardav.h"
#include "libshbf.h"
#include "libshbf_receiver.h"
#include "libshbfev.h"
#include "measure.h"
#include "quick_board.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ev.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace bench;

constexpr int receiver_count = 4;
constexpr uint32_t capacity = 409600;
constexpr uint64_t second_ns = 1000000000;
constexpr useconds_t pause_us = 20000; // the daemon's, when there is no room

struct Window {
    std::atomic<int> attached;
    std::atomic<bool> counts;
    struct {
        std::atomic<uint32_t> received;
        std::atomic<uint32_t> published; // as far as this receiver knows
    } receivers[receiver_count];
};

struct Rate {
    double published_hz;
    double received_hz; // at the slowest receiver
};

[[noreturn]] void receive(const char *path, int index, Window *window) {
    shbf_rcv_t *receiver = nullptr;
    while ((receiver = shbf_rcv_open(path, nullptr)) == nullptr) {
        usleep(1000);
    }
    ++window->attached;
    shbf_event_t event;
    while (shbf_rcv_next(receiver, &event, -1) == 1) {
        VideoFrameInfo info;
        std::memcpy(&info, event.frame.data, sizeof info);
        window->receivers[index].published = event.frame.number;
        shbf_rcv_release(receiver, &event.frame);
        ++window->receivers[index].received;
    }
    _exit(1);
}

/* Children of this process, killed at the end. */
class Children {
  public:
    Children() = default;
    ~Children() {
        for (auto child = children_.rbegin(); child != children_.rend(); ++child) {
            kill(*child, SIGKILL);
            waitpid(*child, nullptr, 0);
        }
    }
    Children(const Children &) = delete;
    Children &operator=(const Children &) = delete;

    template <typename Work>
    void start(Work work) {
        const pid_t child = fork();
        if (child < 0) {
            fail("fork");
        }
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            work();
            _exit(0);
        }
        children_.push_back(child);
    }

  private:
    std::vector<pid_t> children_;
};

Window *start_receivers(Children *children, const char *path) {
    static auto *window = static_cast<Window *>(
        mmap(nullptr, sizeof(Window), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    window->attached = 0;
    for (int i = 0; i < receiver_count; ++i) {
        window->receivers[i].received = 0;
        children->start([=] { receive(path, i, window); });
    }
    if (!support::eventually([] { return window->attached == receiver_count; })) {
        throw std::runtime_error("the receivers do not attach");
    }
    return window;
}

/* Frames of the next second or so. */
Rate measure(const char *path) {
    Children children;
    const Window *window = start_receivers(&children, path);
    usleep(200000);
    uint32_t received[receiver_count];
    const uint64_t from_ns = now_ns();
    const uint32_t published = window->receivers[0].published;
    for (int i = 0; i < receiver_count; ++i) {
        received[i] = window->receivers[i].received;
    }
    wait_until_ns(from_ns + second_ns);
    Rate rate{0, 1e9};
    const double seconds = static_cast<double>(now_ns() - from_ns) / second_ns;
    rate.published_hz = (window->receivers[0].published - published) / seconds;
    for (int i = 0; i < receiver_count; ++i) {
        rate.received_hz =
            std::min(rate.received_hz, (window->receivers[i].received - received[i]) / seconds);
    }
    return rate;
}

Rate through_the_daemon(uint32_t bytes) {
    Camera camera;
    camera.start_store(Keeps::in_memory, small_profile);
    camera.start_daemon({{"LD_PRELOAD", library("libbench_quick_board.so")},
                         {quick_board_bytes_variable, std::to_string(bytes)}});
    return measure("/run/video_mainstream");
}

/* The loop that the daemon's thread is, with nothing around it. */
[[noreturn]] void publish_bare(const char *path, uint32_t bytes, bool pauses) {
    static uint8_t picture[capacity];
    std::memset(picture, 1, sizeof picture);
    struct ev_loop *loop = ev_loop_new(EVFLAG_AUTO);
    shbfev_brd_t *brd = shbfev_brd_create(path);
    if (shbfev_brd_start(loop, brd) < 0) {
        fail("cannot start the channel");
    }
    std::thread([loop] { ev_run(loop, 0); }).detach();
    VideoFrameInfo info{};
    info.len = bytes;
    for (;;) {
        auto *buffer = static_cast<uint8_t *>(shbfev_brd_alloc(brd, capacity + sizeof info));
        if (buffer == nullptr) {
            usleep(pauses ? pause_us : 0);
            continue;
        }
        std::memcpy(buffer + sizeof info, picture, bytes);
        std::memcpy(buffer, &info, sizeof info);
        ++info.seq;
        shbf_set_size(buffer, bytes + sizeof info);
        shbfev_brd_broadcast(brd, buffer);
    }
}

Rate bare(uint32_t bytes, bool pauses) {
    const support::ScratchRunDir directory;
    constexpr const char *path = "/run/bench_bare";
    Children children;
    children.start([=] { publish_bare(path, bytes, pauses); });
    return measure(path);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

struct Way {
    const char *name;
    Rate (*run)(uint32_t bytes);
    std::vector<double> published_hz;
    std::vector<double> received_hz;
};

void compare(uint32_t bytes, int rounds) {
    Way ways[] = {
        {"bare loop", [](uint32_t size) { return bare(size, true); }, {}, {}},
        {"the daemon", through_the_daemon, {}, {}},
        {"bare loop that does not pause without room",
         [](uint32_t size) { return bare(size, false); },
         {},
         {}},
    };
    for (int round = 0; round < rounds; ++round) {
        for (Way &way : ways) {
            const Rate rate = way.run(bytes);
            way.published_hz.push_back(rate.published_hz);
            way.received_hz.push_back(rate.received_hz);
        }
    }
    for (const Way &way : ways) {
        std::printf("| %u KB | %s | %.0f | %.0f | %.2f |\n", bytes / 1024, way.name, median(way.published_hz),
                    median(way.received_hz), median(way.published_hz) / median(ways[0].published_hz));
        std::fflush(stdout);
    }
}

/* Percent of a core that the daemon takes while it streams the default profile. */
double share_at_camera_rate(int seconds) {
    Camera camera;
    camera.start_store(Keeps::in_memory, default_profile);
    camera.start_board();
    camera.start_daemon();
    Children children;
    start_receivers(&children, "/run/video_mainstream");
    usleep(2000000);
    clockid_t clock;
    if (clock_getcpuclockid(camera.pid("daemon"), &clock) != 0) {
        fail("the daemon's clock");
    }
    timespec before{};
    timespec after{};
    clock_gettime(clock, &before);
    const uint64_t from_ns = now_ns();
    wait_until_ns(from_ns + static_cast<uint64_t>(seconds) * second_ns);
    clock_gettime(clock, &after);
    const double used_ns = static_cast<double>(after.tv_sec - before.tv_sec) * 1e9 +
                           static_cast<double>(after.tv_nsec - before.tv_nsec);
    return used_ns / static_cast<double>(now_ns() - from_ns) * 100;
}

} // namespace

int main() {
    std::printf("From a board that has a frame at once to %d receivers; medians of the rounds\n\n"
                "| frame | through | frames/s published | at the slowest receiver | published / bare loop |\n"
                "|---|---|---|---|---|\n",
                receiver_count);
    for (const uint32_t bytes : {10240U, 65536U, capacity}) {
        compare(bytes, scaled(5, 1));
    }
    const int seconds = scaled(20, 3);
    std::printf("\nThe daemon with the real board, default profile (15 frames a second on each stream), %d "
                "receivers on the main\nstream: %.2f %% of one core, over %d s.\n",
                receiver_count, share_at_camera_rate(seconds), seconds);
    return 0;
}
