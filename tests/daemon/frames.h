/*
 * Frames as a blocking receiver takes them from a channel of the daemon.
 */
#ifndef TESTS_DAEMON_FRAMES_H
#define TESTS_DAEMON_FRAMES_H

#include "libboardav.h"
#include "support/system.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <optional>
#include <string>

namespace daemon_test {

/* The whole of the next frame, header and all; nothing when none comes in time. Messages are passed over. */
inline std::optional<std::string> frame_within(const support::ReceiverHandle &receiver, int32_t timeout_ms) {
    shbf_event_t event;
    while (shbf_rcv_next(receiver.get(), &event, timeout_ms) == 1) {
        if (event.kind == SHBF_EVENT_FRAME) {
            std::string bytes(static_cast<const char *>(event.frame.data), event.frame.size);
            shbf_rcv_release(receiver.get(), &event.frame);
            return bytes;
        }
    }
    return std::nullopt;
}

/* A frame behind a header of the board's. */
template <typename Info, size_t header_bytes = sizeof(Info)>
struct Published {
    Info info;
    std::string payload;
};
using Frame = Published<VideoFrameInfo>;
using Block = Published<AudioFrameInfo>;
using RawFrame = Published<RawFrameInfo, 64>;

/* The next one; a failure of the test when none comes. */
template <typename Info, size_t header_bytes = sizeof(Info)>
Published<Info, header_bytes> next_published(const support::ReceiverHandle &receiver) {
    constexpr int32_t patience_ms = 20000;
    Published<Info, header_bytes> result{};
    const std::optional<std::string> bytes = frame_within(receiver, patience_ms);
    EXPECT_TRUE(bytes && bytes->size() >= header_bytes);
    if (bytes && bytes->size() >= header_bytes) {
        std::memcpy(&result.info, bytes->data(), sizeof result.info);
        result.payload = bytes->substr(header_bytes);
    }
    return result;
}

inline Frame next_frame(const support::ReceiverHandle &receiver) {
    return next_published<VideoFrameInfo>(receiver);
}
inline Block next_block(const support::ReceiverHandle &receiver) {
    return next_published<AudioFrameInfo>(receiver);
}
inline RawFrame next_raw_frame(const support::ReceiverHandle &receiver) {
    return next_published<RawFrameInfo, 64>(receiver);
}

} // namespace daemon_test

#endif
