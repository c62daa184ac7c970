#include "transport.h"

#include <cstdlib>
#include <cstring>
#include <numeric>

namespace bench {

const std::vector<TransportKind> &transport_kinds() {
    static const std::vector<TransportKind> kinds = {
        {"floor", "floor: eventfd + epoll, in place", false, false, make_floor},
        {"strell", "strell: shared-buffer channel", false, false, make_shbf},
        {"strell-poll", "strell: the same, behind poll()", false, false, make_shbf_poll},
        {"seqpacket", "copy: SOCK_SEQPACKET", true, true, make_seqpacket},
        {"stream", "copy: SOCK_STREAM", true, true, make_stream},
#ifdef BENCH_ICEORYX
        {"iceoryx", "iceoryx: WaitSet", false, true, make_iceoryx},
#endif
        {"gstreamer", "GStreamer: shmsink, shmsrc", false, true, make_gstreamer},
#ifdef BENCH_ZEROMQ
        {"zeromq", "ZeroMQ: pub/sub, ipc", true, true, make_zeromq},
#endif
#ifdef BENCH_NNG
        {"nng", "nng: pub/sub, ipc", true, true, make_nng},
#endif
    };
    return kinds;
}

bool read_whole = false;

FrameHead look_at(const void *frame, size_t size) {
    const auto *bytes = static_cast<const uint8_t *>(frame);
    unsigned sum = bytes[size - 1];
    if (read_whole) {
        sum = std::accumulate(bytes, bytes + size, 0U);
    }
    asm volatile("" : : "r"(sum)); // it is wanted
    FrameHead head;
    std::memcpy(&head, frame, sizeof head);
    return head;
}

std::string ipc_address(const char *name, const Channel &channel) {
    return std::string("ipc://") + std::getenv("STRELL_RUN_DIR") + "/" + name +
           std::to_string(channel.number);
}

} // namespace bench
