// Takes the photos of a panorama with a camera that runs: asks the daemon's planner for step after step,
// plays the motor's part by turning the software board's view, and takes a photo at each step through the
// daemon's snapshot channel.
//
//     ./dev run &                                 # or any strell_v2 on a boardd
//     example_panorama DIRECTORY [--reverse]      # DIRECTORY/photo-1.jpg ...; it has to exist
//
// What it prints is the talk between motor and planner: the motor's reply, and the step that follows from it.
// On a camera the replies come from the motor's process.

#include "analytics/panoramic.h"
#include "board/boardctl.h"
#include "libboardav.h"
#include "libshbf_receiver.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

constexpr int32_t patience_ms = 10000;
constexpr int32_t hundredths = 100; // of a degree, in which the board counts
constexpr char request[] = "REQ_SNAPSHOT_R";

struct Closer {
    void operator()(shbf_rcv_t *receiver) const { shbf_rcv_close(receiver); }
};
using Receiver = std::unique_ptr<shbf_rcv_t, Closer>;

uint64_t monotonic_us() {
    using namespace std::chrono;
    const auto now = duration_cast<microseconds>(steady_clock::now().time_since_epoch());
    return static_cast<uint64_t>(now.count());
}

/* One photo, with its header. */
std::string snapshot(shbf_rcv_t *receiver) {
    shbf_event_t event;
    if (shbf_rcv_send(receiver, request, sizeof request - 1) != 0 ||
        shbf_rcv_next(receiver, &event, patience_ms) != 1 || event.kind != SHBF_EVENT_FRAME) {
        throw std::runtime_error("strell_v2 sends no photo: is the camera switched on?");
    }
    std::string bytes(static_cast<const char *>(event.frame.data), event.frame.size);
    shbf_rcv_release(receiver, &event.frame);
    return bytes;
}

/* A photo that was captured after this moment; the first may still show what was there before. */
void take_photo(shbf_rcv_t *receiver, const std::string &file) {
    const uint64_t now_us = monotonic_us();
    VideoFrameInfo info{};
    std::string bytes;
    while (info.len == 0 || info.timestamp_us < now_us) {
        bytes = snapshot(receiver);
        if (bytes.size() < sizeof info || monotonic_us() > now_us + uint64_t{patience_ms} * 1000) {
            throw std::runtime_error("the board takes no photo: see its log");
        }
        std::memcpy(&info, bytes.data(), sizeof info);
    }
    std::ofstream stream(file, std::ios::binary);
    stream << std::string_view(bytes).substr(sizeof info);
    stream.close();
    if (!stream) {
        throw std::runtime_error("cannot write " + file + ": DIRECTORY has to exist, and to have room");
    }
    std::printf("  photo: %s, %zu bytes\n", file.c_str(), bytes.size() - sizeof info);
}

/* Turns the view, left and right for the two directions. */
void turn(board::BoardCtl *motor, int32_t direction, int32_t degree) {
    const int32_t way = direction == motor_pan_one_way ? 1 : -1;
    const board::ViewRecord view = motor->move_view_by({way * degree * hundredths, 0});
    std::printf("  motor: direction %d, %d degrees: pan is %.2f\n", direction, degree, view.pan / 100.0);
}

void take_panorama(const std::string &directory, int32_t reverse) {
    board::BoardCtl motor;
    const Receiver camera(shbf_rcv_open("/run/jpeg_snap", nullptr));
    if (camera == nullptr) {
        throw std::runtime_error("no camera: start strell_v2, and set STRELL_RUN_DIR to where it runs");
    }
    motor.move_view_to({0, 0});
    std::string reply = "motor_reset_OK";
    for (std::string step; step != "intterupt_exit";) {
        int32_t direction = 0, degree = 0, more = 0;
        char *next = tavra_panoram_get_next_step(reverse, reply.c_str(), &direction, &degree, &more);
        if (next == nullptr) {
            throw std::runtime_error("nothing follows from " + reply);
        }
        step = next;
        std::free(next);
        std::printf("%s -> %s\n", reply.c_str(), step.c_str());
        if (step.compare(0, 4, "step") == 0) {
            turn(&motor, direction, degree);
            take_photo(camera.get(), directory + "/photo-" + step.substr(4) + ".jpg");
        }
        reply = step == "end" ? "panorama_done" : step + "_OK";
    }
    motor.move_view_to({0, 0});
}

} // namespace

int main(int argc, char **argv) {
    const bool reverse = argc == 3 && std::strcmp(argv[2], "--reverse") == 0;
    if (argc < 2 || (argc > 2 && !reverse)) {
        std::fprintf(stderr, "usage: example_panorama DIRECTORY [--reverse]\n");
        return 2;
    }
    try {
        take_panorama(argv[1], reverse ? 1 : 0);
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "example_panorama: %s\n", failure.what());
        return 1;
    }
    return 0;
}
