// What get_video_stream makes of the records on an encoder channel.
//
// A frame is lost when the channel skipped it because venc_window were waiting already, when it waited for
// longer than venc_fetch_within_us, when boardd had no room for it, or when it does not fit into the caller's
// memory. However many frames a loss consists of, it is said once: with the first frame that comes after it
// in hand. That frame stays held and is the answer to the next call, for it may be a key frame; unless that
// call comes so late that the frame is lost, too.

#include "board/client/streams.h"

#include "board/client/link.h"
#include "board/client/record_stream.h"
#include "export.h"
#include "libboardav.h"

#include <atomic>
#include <string.h>

namespace board {

namespace {

constexpr int32_t lost_result = -2;
constexpr RecordKind kinds[venc_channels] = {
    {venc_paths[0], venc_magic, venc_window, venc_fetch_within_us, offsetof(VideoFrameInfo, len)},
    {venc_paths[1], venc_magic, venc_window, venc_fetch_within_us, offsetof(VideoFrameInfo, len)}};

RecordStream streams[venc_channels];
std::atomic<int32_t> running{0};

/* The frame in hand goes to the caller. */
int32_t hand_over(RecordStream &stream, void *payload, uint32_t capacity, VideoFrameInfo *info) {
    if (stream.lost) {
        stream.lost = false;
        return lost_result;
    }
    const uint32_t length = record_stream_length(stream);
    const bool fits = length <= capacity;
    if (fits) {
        memcpy(payload, record_stream_payload(stream), length);
        memcpy(info, &stream.record.info, sizeof *info);
    }
    record_stream_let_go(stream);
    return fits ? 0 : lost_result;
}

int32_t fetch(RecordStream &stream, void *payload, uint32_t capacity, VideoFrameInfo *info) {
    int32_t result = 0;
    if (record_stream_fetch(stream, &result) == Fetched::frame) {
        return hand_over(stream, payload, capacity, info);
    }
    memset(info, 0, sizeof *info);
    return result;
}

} // namespace

bool streams_open() {
    for (int32_t channel = 0; channel < venc_channels; ++channel) {
        if (!record_stream_open(streams[channel], kinds[channel])) {
            streams_close();
            return false;
        }
    }
    return true;
}

void streams_close() {
    for (RecordStream &stream : streams) {
        record_stream_close(stream);
    }
}

void streams_start() {
    running.store(1, std::memory_order_release);
}

bool streams_running() {
    return running.load(std::memory_order_acquire) != 0;
}

} // namespace board

using namespace board;

PLATFORM_API int32_t get_video_stream(int32_t channel, void *payload, uint32_t capacity,
                                      VideoFrameInfo *info) {
    if (channel < 0 || channel >= venc_channels || payload == nullptr || info == nullptr ||
        !streams_running() || !link_good()) {
        return -1;
    }
    return fetch(streams[channel], payload, capacity, info);
}
