#include "board/client/microphone.h"

#include "board/client/link.h"
#include "board/client/record_stream.h"
#include "board/client/streams.h"
#include "export.h"
#include "libboardav.h"

#include <string.h>

namespace board {

namespace {

constexpr RecordKind kind = {mic_path, mic_magic, mic_window, mic_fetch_within_us,
                             offsetof(AudioFrameInfo, len)};
constexpr uint32_t sample_bytes = 2;
constexpr uint64_t sample_rate_hz = 16000;

RecordStream stream;
uint32_t taken_bytes;  // of block `taken_number`, by callers with room for less
uint32_t taken_number; // as the channel counts; the block may have become too old since

uint32_t at_most(uint32_t value, uint32_t limit) {
    return value < limit ? value : limit;
}

/* The block in hand goes to the caller, or the part of it that has room. Lost blocks are not spoken of: the
 * times of capture show them, and what comes next can be heard all the same. */
int32_t hand_over(void *payload, uint32_t capacity, AudioFrameInfo *info) {
    if (stream.frame.number != taken_number) {
        taken_number = stream.frame.number;
        taken_bytes = 0;
    }
    const uint32_t length = record_stream_length(stream);
    const uint32_t given = at_most(length - taken_bytes, capacity - capacity % sample_bytes);
    memcpy(payload, record_stream_payload(stream) + taken_bytes, given);
    memcpy(info, &stream.record.info, sizeof *info);
    info->timestamp_us += taken_bytes / sample_bytes * uint64_t{1000000} / sample_rate_hz;
    info->len = given;
    taken_bytes += given;
    if (taken_bytes == length) {
        record_stream_let_go(stream);
    }
    return 0;
}

} // namespace

bool microphone_open() {
    return record_stream_open(stream, kind);
}

void microphone_close() {
    record_stream_close(stream);
    taken_number = 0;
}

} // namespace board

using namespace board;

PLATFORM_API int32_t get_audio_stream(void *payload, uint32_t capacity, AudioFrameInfo *info) {
    if (payload == nullptr || capacity < sample_bytes || info == nullptr || !streams_running() ||
        !link_good()) {
        return -1;
    }
    int32_t result = 0;
    if (record_stream_fetch(stream, &result) == Fetched::frame) {
        return hand_over(payload, capacity, info);
    }
    memset(info, 0, sizeof *info);
    return result;
}
