// Dumps the main stream of a daemon that runs into a file on the storage card, /mnt/sdcard/stream-0.h265,
// with the daemon's own dump_open, dump_write and dump_close.
//
//     example_stream_dump [FRAMES]   # 100 when not given
//
// The path is fixed. Without a card, a directory takes its place, for this program only; no rights are
// needed:
//
//     mkdir -p card/sdcard
//     unshare -rm sh -c 'mount --bind card /mnt && exec example_stream_dump'     # card/sdcard/stream-0.h265
//
// A main stream of H.264 goes into a file of the same name.

#include "media/stream_dump.h"
#include "libboardav.h"
#include "libshbf_receiver.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int default_frames = 100;
constexpr int32_t main_stream = 0;
constexpr int32_t patience_ms = 10000;

/* Payloads, from a key frame on. Result: how many were written. */
int dump_frames(shbf_rcv_t *receiver, int frames) {
    int count = 0;
    shbf_event_t event;
    while (count < frames && shbf_rcv_next(receiver, &event, patience_ms) == 1) {
        if (event.kind != SHBF_EVENT_FRAME) {
            continue;
        }
        VideoFrameInfo info{};
        if (event.frame.size > sizeof info) {
            std::memcpy(&info, event.frame.data, sizeof info);
        }
        if (info.len > 0 && (count > 0 || info.is_key != 0)) {
            const auto *payload = static_cast<const uint8_t *>(event.frame.data) + sizeof info;
            const auto length = static_cast<int32_t>(event.frame.size - sizeof info);
            if (dump_write(main_stream, payload, length) != 0) {
                return count;
            }
            ++count;
        }
        shbf_rcv_release(receiver, &event.frame);
    }
    return count;
}

} // namespace

int main(int argc, char **argv) {
    const int frames = argc == 2 ? std::atoi(argv[1]) : default_frames;
    if (argc > 2 || frames <= 0) {
        std::fprintf(stderr, "usage: example_stream_dump [FRAMES]\n");
        return 2;
    }
    shbf_rcv_t *receiver = shbf_rcv_open("/run/video_mainstream", nullptr);
    if (receiver == nullptr) {
        std::fprintf(stderr, "no main stream: start strell_v2, and set STRELL_RUN_DIR to where it runs\n");
        return 1;
    }
    int count = 0;
    if (dump_open(main_stream) != 0) {
        std::fprintf(stderr, "no card at /mnt/sdcard: examples/README.md says what to do without one\n");
    } else {
        shbf_rcv_send(receiver, "REQ_IDR", 7);
        count = dump_frames(receiver, frames);
        if (dump_close(main_stream) != 0) {
            std::perror("closing the file");
            count = 0;
        }
        std::printf("%d frames in /mnt/sdcard/stream-0.h265\n", count);
    }
    shbf_rcv_close(receiver);
    return count == frames ? 0 : 1;
}
