#include "media/requests.h"

#include "libboardav.h"
#include "libshbf.h"
#include "libvuto_util.h"
#include "media/channels.h"
#include "settings/device_status.h"

#include <string.h>
#include <sys/time.h>

namespace {

constexpr uint32_t raw_payload_bytes = 368640;
constexpr uint32_t raw_alignment = 64;
constexpr uint32_t jpeg_payload_bytes = 131072;
constexpr uint32_t jpeg_header_bytes = sizeof(VideoFrameInfo);

enum SnapshotKind : uint32_t { kind_r = 0, kind_a = 1 };

/* True when the message is the word, or a beginning of it; the word's NUL may come along. */
bool begins(const char *word, const void *bytes, int32_t length) {
    const size_t count = static_cast<size_t>(length);
    return count <= strlen(word) + 1 && memcmp(bytes, word, count) == 0;
}

/* A buffer for an answer, or null, which is logged under the handler's name and number. */
uint8_t *answer_alloc(int32_t channel, uint32_t size, const char *handler, int number) {
    uint8_t *buffer = shbf_brd_alloc(channel, size);
    if (buffer == nullptr) {
        log_err("%s(), %d, shbfev_alloc\n", handler, number);
    }
    return buffer;
}

/* Puts the header in front and sends the buffer to who asked; the buffer is given back. */
template <typename Header>
void answer(int32_t channel, int32_t receiver, uint8_t *buffer, const Header &header,
            uint32_t header_space_bytes) {
    memcpy(buffer, &header, sizeof header);
    shbf_set_size(buffer, header.len + header_space_bytes);
    shbfev_brd_send(media_channels[channel].broadcaster.load(std::memory_order_acquire), receiver, buffer);
    shbf_free(buffer);
}

void mark_kind(VideoFrameInfo *header, const void *bytes, int32_t length) {
    if (begins("REQ_SNAPSHOT_A", bytes, length)) {
        header->board24 = kind_a;
    } else if (begins("REQ_SNAPSHOT_R", bytes, length)) {
        header->board24 = kind_r;
    }
}

double milliseconds_between(const timeval &start, const timeval &end) {
    const int64_t seconds = int64_t{end.tv_sec} - int64_t{start.tv_sec};
    const int64_t microseconds = int64_t{end.tv_usec} - int64_t{start.tv_usec};
    return static_cast<double>(seconds * 1000000 + microseconds) / 1000.0;
}

} // namespace

int32_t evt_rcvr_message_rawframe(void * /*user*/, int32_t receiver, const void * /*bytes*/,
                                  int32_t /*length*/) {
    if (device_status.power != 1) {
        return -1;
    }
    const uint32_t capacity = vuto_round(raw_payload_bytes, raw_alignment);
    const uint32_t header_space = vuto_round(sizeof(RawFrameInfo), raw_alignment);
    uint8_t *buffer =
        answer_alloc(channel_raw_stream, capacity + header_space, "evt_rcvr_message_rawframe", 1536);
    if (buffer == nullptr) {
        return -1;
    }
    RawFrameInfo header{};
    if (get_raw_frame(buffer + header_space, capacity, &header, device_status.bind_status) < 0) {
        header.len = 0;
        log_warning("Got raw frame error\n");
    }
    answer(channel_raw_stream, receiver, buffer, header, header_space);
    return 0;
}

int32_t evt_rcvr_message_jpeg(void * /*user*/, int32_t receiver, const void *bytes, int32_t length) {
    if (device_status.power != 1 || device_status.reload_boardav != 0) {
        return -1;
    }
    timeval start;
    gettimeofday(&start, nullptr);
    uint8_t *buffer =
        answer_alloc(channel_jpeg, jpeg_payload_bytes + jpeg_header_bytes, "evt_rcvr_message_jpeg", 1581);
    if (buffer == nullptr) {
        return -1;
    }
    VideoFrameInfo header{};
    if (get_jpeg_snap(buffer + jpeg_header_bytes, jpeg_payload_bytes, &header) < 0) {
        header.len = 0;
        log_warning("Got jpeg error\n");
    }
    mark_kind(&header, bytes, length);
    answer(channel_jpeg, receiver, buffer, header, jpeg_header_bytes);
    timeval end;
    gettimeofday(&end, nullptr);
    log_debug("Got jpeg {%d, %d, %d, %llu},time cost %f\n", static_cast<int>(header.board0),
              static_cast<int>(header.seq), static_cast<int>(header.len),
              static_cast<unsigned long long>(header.timestamp_us), milliseconds_between(start, end));
    return 0;
}

int32_t evt_rcvr_message_idr(void * /*user*/, int32_t /*receiver*/, const void *bytes, int32_t length) {
    if (begins("REQ_IDR", bytes, length)) {
        req_IDR();
    }
    return 0;
}
