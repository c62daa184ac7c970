// Publishes uncompressed frames with the daemon's raw-frame thread on channel 2, and counts them as a
// receiver of that channel gets them.
//
//     boardd &                      # a board of its own: not one that strell_v2 uses
//     example_raw_stream [FRAMES]   # 50 when not given
//
// It serves /run/video_rawstream for as long as it runs, so strellctl and others may attach as well.

#include "media/raw_stream.h"
#include "board.h"
#include "libshbf_receiver.h"
#include "media/channels.h"
#include "settings/device_status.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ev.h>
#include <thread>

namespace {

constexpr int default_frames = 50;
constexpr uint32_t header_bytes = 128; // of which a RawFrameInfo is the beginning
constexpr int32_t patience_ms = 10000;

/* Counts frames until there are so many. Result: how many came. */
int count_frames(shbf_rcv_t *receiver, int frames) {
    int count = 0;
    shbf_event_t event;
    while (count < frames && shbf_rcv_next(receiver, &event, patience_ms) == 1) {
        if (event.kind != SHBF_EVENT_FRAME || event.frame.size < header_bytes) {
            continue;
        }
        RawFrameInfo info;
        std::memcpy(&info, event.frame.data, sizeof info);
        ++count;
        std::printf("frame %d: %u x %u, %u bytes, number %u of the board, %u missed\n", count, info.board0,
                    info.board4, event.frame.size - header_bytes, info.board12, event.frame.skipped);
        shbf_rcv_release(receiver, &event.frame);
    }
    return count;
}

bool publish() {
    if (!start_board()) {
        return false;
    }
    if (shbf_init(channel_raw_stream) != 0) {
        std::fprintf(stderr, "the channel is taken: does strell_v2 run here?\n");
        return false;
    }
    // Neither thread is joined, as in the daemon: the process ends over them.
    std::thread([] { ev_run(ev_default_loop(0), 0); }).detach();
    pthread_t thread;
    return start_rawsnap_thread(&thread) == 0;
}

} // namespace

int main(int argc, char **argv) {
    const int frames = argc == 2 ? std::atoi(argv[1]) : default_frames;
    if (argc > 2 || frames <= 0) {
        std::fprintf(stderr, "usage: example_raw_stream [FRAMES]\n");
        return 2;
    }
    if (!publish()) {
        return 1;
    }
    shbf_rcv_t *receiver = shbf_rcv_open("/run/video_rawstream", nullptr);
    if (receiver == nullptr) {
        std::perror("cannot attach");
        return 1;
    }
    const int came = count_frames(receiver, frames);
    shbf_rcv_close(receiver);
    device_status.running = 0;
    board_system_exit();
    std::printf("%d frames came\n", came);
    return came == frames ? 0 : 1;
}
