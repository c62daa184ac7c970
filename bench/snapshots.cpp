// How long a picture takes from the request to the reply, while both streams run at the default profile and
// each has a receiver that counts what it loses; for one client alone, and beside a second one that asks for
// JPEGs without a pause.

#include "camera.h"
#include "measure.h"
#include "picture_client.h"
#include "stream_receiver.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>

namespace {

using bench::Picture;
using bench::PictureClient;
using bench::StreamReceiver;

constexpr int pictures = 200;
constexpr int pictures_first = 3; // not counted
constexpr uint64_t pause_ns = 50000000;

/* The second client: asks without a pause. */
class Rival {
  public:
    Rival() : thread_([this] { ask(); }) {}
    ~Rival() {
        ending_ = true;
        thread_.join();
    }
    Rival(const Rival &) = delete;
    Rival &operator=(const Rival &) = delete;

  private:
    void ask() {
        try {
            PictureClient client(Picture::jpeg);
            while (!ending_) {
                client.ask();
            }
        } catch (const std::exception &failure) {
            std::fprintf(stderr, "snapshots: the second client: %s\n", failure.what());
            std::exit(1);
        }
    }

    std::atomic<bool> ending_ = false;
    std::thread thread_;
};

struct Lost {
    explicit Lost(const StreamReceiver &receiver) : receiver_(receiver), start_(receiver.counts()) {}
    /* What the receiver has got since the start. */
    double fps() const {
        return (receiver_.counts().frames - start_.frames) * 1e9 /
               static_cast<double>(bench::now_ns() - start_ns_);
    }
    int lost() const {
        const StreamReceiver::Counts now = receiver_.counts();
        return now.missed - start_.missed + now.gaps - start_.gaps;
    }

  private:
    const StreamReceiver &receiver_;
    StreamReceiver::Counts start_;
    uint64_t start_ns_ = bench::now_ns();
};

void print_streams(const Lost &main_lost, const Lost &sub_lost) {
    std::printf("%4.1f | %d | %4.1f | %d |\n", main_lost.fps(), main_lost.lost(), sub_lost.fps(),
                sub_lost.lost());
    std::fflush(stdout);
}

struct Row {
    const char *name;
    Picture picture;
    bool rival;
};

constexpr Row rows[] = {
    {"JPEG 2560x1440", Picture::jpeg, false},
    {"raw frame", Picture::raw, false},
    {"JPEG 2560x1440, and a second client", Picture::jpeg, true},
    {"raw frame, and a second client", Picture::raw, true},
};

void measure(const Row &row, int count, const StreamReceiver &main_stream, const StreamReceiver &sub_stream) {
    PictureClient client(row.picture);
    const std::unique_ptr<Rival> rival = row.rival ? std::make_unique<Rival>() : nullptr;
    bench::Samples samples;
    int none = 0;
    const Lost main_lost(main_stream);
    const Lost sub_lost(sub_stream);
    for (int i = -pictures_first; i < count; ++i) {
        bench::wait_until_ns(bench::now_ns() + pause_ns);
        const std::optional<uint64_t> took_ns = client.ask();
        if (i >= 0 && took_ns) {
            samples.add_ns(*took_ns);
        }
        none += i >= 0 && !took_ns ? 1 : 0;
    }
    if (samples.count() == 0) {
        throw std::runtime_error("the camera has no pictures");
    }
    std::printf("| %-35s | %6.1f | %6.1f | %6.1f | %4d | ", row.name, samples.ms(0.5), samples.ms(0.99),
                samples.ms(1), none);
    print_streams(main_lost, sub_lost);
}

/* What the streams lose without pictures, in the time of that many. */
void measure_streams(int count, const StreamReceiver &main_stream, const StreamReceiver &sub_stream) {
    constexpr uint64_t picture_ns = 50000000;
    const Lost main_lost(main_stream);
    const Lost sub_lost(sub_stream);
    bench::wait_until_ns(bench::now_ns() + static_cast<uint64_t>(count) * (pause_ns + picture_ns));
    std::printf("| %-35s |      - |      - |      - |    - | ", "nothing");
    print_streams(main_lost, sub_lost);
}

void measure_all() {
    const int count = bench::scaled(pictures, 10);
    bench::Camera camera;
    camera.start_store(bench::Keeps::in_memory, bench::default_profile);
    camera.start_board();
    camera.start_daemon();
    const StreamReceiver main_stream("/run/video_mainstream");
    const StreamReceiver sub_stream("/run/video_substream");
    std::printf("From the request to the reply, %d pictures each, 50 ms from a reply to the next request; "
                "each JPEG was decoded\n\n",
                count);
    std::printf("| asked for | p50 ms | p99 ms | max ms | none in time | main stream: fps | lost | sub "
                "stream: fps | lost |\n|---|---|---|---|---|---|---|---|---|\n");
    measure_streams(count, main_stream, sub_stream);
    for (const Row &row : rows) {
        measure(row, count, main_stream, sub_stream);
    }
}

} // namespace

int main() {
    try {
        measure_all();
        return 0;
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "snapshots: %s\n", failure.what());
        return 1;
    }
}
