// Snapshots and raw frames. Each kind has a connection of its own, so that neither waits for the other and no
// control of the picture waits for either; a call holds its kind's lock only. Their bytes come as a file,
// which is read into the caller's memory, and which so can do no harm when it is shorter than was said.

#include "board/client/link.h"
#include "board/client/streams.h"
#include "export.h"
#include "libboardav.h"

#include <errno.h>
#include <pthread.h>
#include <string.h>
#include <unistd.h>

using namespace board;

namespace {

/* One connection, made on demand. */
struct Lane {
    pthread_mutex_t lock;
    int fd;
    uint32_t next_id;
};

Lane jpeg_lane = {PTHREAD_MUTEX_INITIALIZER, -1, 1};
Lane raw_lane = {PTHREAD_MUTEX_INITIALIZER, -1, 1};

/* One request on the lane. Under its lock. Result: as control_call's and, at 0, the board's answer. */
int32_t lane_request(Lane &lane, const ControlCall &call) {
    const uint64_t deadline_us = monotonic_us() + control_timeout_ms * uint64_t{1000};
    if (lane.fd < 0) {
        lane.fd = control_connect(deadline_us);
    }
    if (lane.fd < 0) {
        return -1;
    }
    int32_t result = -1;
    const int status = control_call(lane.fd, lane.next_id++, call, deadline_us, &result);
    if (status == -EPIPE || status == -EPROTO) {
        close(lane.fd);
        lane.fd = -1;
        link_fail();
    }
    return status < 0 ? -1 : result;
}

int32_t lane_call(Lane &lane, const ControlCall &call) {
    if (!streams_running() || !link_good()) {
        return -1;
    }
    pthread_mutex_lock(&lane.lock);
    const int32_t result = link_good() ? lane_request(lane, call) : -1;
    pthread_mutex_unlock(&lane.lock);
    return result;
}

bool read_all(int file, void *destination, uint32_t length) {
    uint32_t done = 0;
    while (done < length) {
        const ssize_t got =
            pread(file, static_cast<uint8_t *>(destination) + done, length - done, static_cast<off_t>(done));
        if (got <= 0) {
            return false;
        }
        done += static_cast<uint32_t>(got);
    }
    return true;
}

/*
 * Asks for a picture and reads it into `destination`. `info` is filled, with zeros when there is none. The
 * picture is `least` to `capacity` bytes long, or no picture.
 */
template <typename Info>
int32_t take(Lane &lane, uint32_t op, int32_t value, void *destination, uint32_t least, uint32_t capacity,
             Info *info) {
    if (info == nullptr) {
        return -1;
    }
    memset(info, 0, sizeof *info);
    if (destination == nullptr || capacity < least) {
        return -1;
    }
    int file = -1;
    Info answer;
    int32_t result = lane_call(lane, {op, value, nullptr, 0, &answer, sizeof answer, &file});
    if (result >= 0) {
        const bool good =
            answer.len >= least && answer.len <= capacity && read_all(file, destination, answer.len);
        result = good ? 0 : -1;
    }
    if (file >= 0) {
        close(file);
    }
    if (result >= 0) {
        *info = answer;
    }
    return result;
}

} // namespace

PLATFORM_API int32_t get_jpeg_snap(void *destination, uint32_t capacity, VideoFrameInfo *info) {
    const uint32_t most = capacity < INT32_MAX ? capacity : INT32_MAX;
    return take(jpeg_lane, op_jpeg_snapshot, static_cast<int32_t>(most), destination, 1, most, info);
}

PLATFORM_API int32_t get_raw_frame(void *destination, uint32_t capacity, RawFrameInfo *info, int32_t bound) {
    return take(raw_lane, op_raw_frame, bound, destination, raw_frame_bytes, capacity, info);
}
