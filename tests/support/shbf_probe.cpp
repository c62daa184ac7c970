// A receiver in a process of its own, for tests that kill, stop and watch one.
//
//     shbf_probe PATH [hold]
//
// Prints "attached", then "frame NUMBER SIZE SKIPPED SUM" for each frame (SUM adds up its bytes) and
// "message TEXT" for each message. With "hold" no frame is ever released. Ends with "closed ERRNO".

#include "libshbf_receiver.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

unsigned sum_of(const shbf_frame_t &frame) {
    unsigned sum = 0;
    for (uint32_t i = 0; i < frame.size; ++i) {
        sum += static_cast<const unsigned char *>(frame.data)[i];
    }
    return sum;
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        return 2;
    }
    const bool hold = argc > 2 && std::string(argv[2]) == "hold";
    setvbuf(stdout, nullptr, _IOLBF, 0);
    shbf_rcv_t *receiver = shbf_rcv_open(argv[1], nullptr);
    if (receiver == nullptr) {
        std::printf("not attached: %s\n", std::strerror(errno));
        return 1;
    }
    std::puts("attached");
    shbf_event_t event;
    int result;
    while ((result = shbf_rcv_next(receiver, &event, -1)) > 0) {
        if (event.kind == SHBF_EVENT_MESSAGE) {
            std::printf("message %s\n", static_cast<const char *>(event.message.bytes));
            continue;
        }
        std::printf("frame %u %u %u %u\n", event.frame.number, event.frame.size, event.frame.skipped,
                    sum_of(event.frame));
        if (!hold) {
            shbf_rcv_release(receiver, &event.frame);
        }
    }
    std::printf("closed %d\n", -result);
    shbf_rcv_close(receiver);
    return 0;
}
