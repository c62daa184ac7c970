#include "board/boardd/frame_channel.h"

#include "libshbf.h"
#include "run_dir/run_dir.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

namespace board {

FrameChannel::FrameChannel(struct ev_loop *loop, const char *path, Callbacks callbacks)
    : channel_(shbfev_brd_create(path)), callbacks_(std::move(callbacks)) {
    shbfev_brd_event(channel_, SHBFEV_SERVER_CLOSED, SHBFEV_CALLBACK(on_closed), this);
    shbfev_brd_event(channel_, SHBFEV_RECEIVER_NEW, SHBFEV_CALLBACK(on_attached), this);
    shbfev_brd_event(channel_, SHBFEV_RECEIVER_ERROR, SHBFEV_CALLBACK(on_error), this);
    shbfev_brd_event(channel_, SHBFEV_MESSAGE, SHBFEV_CALLBACK(on_message), this);
    const int32_t started = shbfev_brd_start(loop, channel_);
    if (started < 0) {
        shbfev_brd_destroy(channel_);
        throw std::runtime_error(std::string("cannot serve ") + path + ": " +
                                 run_dir_listen_problem(started));
    }
    // The first size decides how much memory the channel has.
    shbf_free(shbfev_brd_alloc(channel_, venc_frame_max_bytes + sizeof(VencRecord)));
}

FrameChannel::~FrameChannel() {
    shbfev_brd_destroy(channel_);
}

bool FrameChannel::publish(const VencRecord &record, const uint8_t *bytes, uint32_t length) {
    if (length > venc_frame_max_bytes) {
        return false;
    }
    const uint32_t size = static_cast<uint32_t>(sizeof record) + length;
    auto *buffer = static_cast<uint8_t *>(shbfev_brd_alloc(channel_, size));
    if (buffer == nullptr) {
        return false;
    }
    std::memcpy(buffer, &record, sizeof record);
    if (length > 0) {
        std::memcpy(buffer + sizeof record, bytes, length);
    }
    if (shbfev_brd_broadcast(channel_, buffer) < 0) {
        shbf_free(buffer);
        return false;
    }
    return true;
}

int32_t FrameChannel::on_closed(void *self) {
    static_cast<FrameChannel *>(self)->callbacks_.closed();
    return 0;
}

int32_t FrameChannel::on_attached(void *self, int32_t /*receiver*/) {
    static_cast<FrameChannel *>(self)->callbacks_.attached();
    return 0;
}

int32_t FrameChannel::on_error(void *self, int32_t /*receiver*/, int32_t error) {
    if (error != EAGAIN) {
        return 0; // dropped: it speaks another protocol
    }
    static_cast<FrameChannel *>(self)->skips_.fetch_add(1, std::memory_order_relaxed);
    return -1; // kept: the encoder loses frames that nobody fetches
}

int32_t FrameChannel::on_message(void *self, int32_t /*receiver*/, const void *bytes, int32_t length) {
    AnswersUsedUp message;
    if (length == sizeof message) {
        std::memcpy(&message, bytes, sizeof message);
        if (message.magic == venc_magic) {
            static_cast<FrameChannel *>(self)->callbacks_.used_up(message.serial);
        }
    }
    return 0;
}

} // namespace board
