#include "stream_receiver.h"

#include "libboardav.h"
#include "libshbf_receiver.h"
#include "support/eventually.h"

#include <cstring>
#include <stdexcept>
#include <string>

namespace bench {

StreamReceiver::StreamReceiver(const char *path) : thread_([this, path] { receive(path); }) {
    if (!support::eventually([this] { return failed_ || frames_ > 0; }) || failed_) {
        ending_ = true;
        thread_.join();
        throw std::runtime_error(std::string("no frame on ") + path);
    }
}

StreamReceiver::~StreamReceiver() {
    ending_ = true;
    thread_.join();
}

void StreamReceiver::receive(const char *path) {
    constexpr int32_t look_up_ms = 100;
    shbf_rcv_t *receiver = shbf_rcv_open(path, nullptr);
    int result = receiver == nullptr ? -1 : 0;
    uint32_t last = 0;
    while (!ending_ && result >= 0) {
        shbf_event_t event;
        result = shbf_rcv_next(receiver, &event, look_up_ms);
        if (result == 1 && event.kind == SHBF_EVENT_FRAME) {
            VideoFrameInfo info;
            std::memcpy(&info, event.frame.data, sizeof info);
            // A restarted encoder counts from 0.
            if (frames_ > 0 && info.seq > last) {
                gaps_ += static_cast<int>(info.seq - last - 1);
            }
            last = info.seq;
            missed_ = static_cast<int>(event.frame.skipped);
            shbf_rcv_release(receiver, &event.frame);
            ++frames_;
        }
    }
    failed_ = result < 0;
    shbf_rcv_close(receiver);
}

} // namespace bench
