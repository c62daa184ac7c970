// What get_video_stream makes of the records on an encoder channel.
//
// A frame is lost when the channel skipped it because venc_window were waiting already, when it waited for
// longer than venc_fetch_within_us, when boardd had no room for it, or when it does not fit into the caller's
// memory. However many frames a loss consists of, it is said once: with the first frame that comes after it
// in hand. That frame stays held and is the answer to the next call, for it may be a key frame; unless that
// call comes so late that the frame is lost, too.
//
// Where boardd misbehaves on demand it sends a venc_answer record in place of frames, and the answers are
// counted here, since only this side knows of each fetch.

#include "board/client/streams.h"

#include "board/client/link.h"
#include "export.h"
#include "libboardav.h"
#include "libshbf_receiver.h"

#include <atomic>
#include <errno.h>
#include <poll.h>
#include <string.h>

namespace board {

namespace {

constexpr uint64_t fetch_wait_us = 90000;
constexpr int32_t lost_result = -2;

struct Stream {
    shbf_rcv_t *receiver;
    shbf_frame_t frame; // the record in hand, while `holding`
    VencRecord record;  // its copy, since shared memory is read once
    bool holding;
    bool lost;             // frames were lost, and the caller has not been told
    uint32_t skipped;      // what the channel had skipped at the last record
    bool answering;        // fetches are answered as `answer` says
    uint32_t answers_left; // 0: no end
    VencRecord answer;
};

Stream streams[venc_channels];
std::atomic<int32_t> running{0};

void let_go(Stream &stream) {
    shbf_rcv_release(stream.receiver, &stream.frame);
    stream.holding = false;
}

/* True when the record is one that boardd sends and fits the frame's size. */
bool record_is_sound(const VencRecord &record, uint32_t size) {
    if (record.magic != venc_magic) {
        return false;
    }
    if (record.kind == venc_frame) {
        return record.info.len > 0 && record.info.len == size - sizeof record;
    }
    const bool answers = record.kind == venc_answer || record.kind == venc_silence;
    return answers && size == sizeof record && record.result <= 0 && record.result >= -2;
}

/* Drops the frame in hand when it has become too old. */
void note_age(Stream &stream) {
    if (stream.record.kind == venc_frame &&
        monotonic_us() > stream.record.published_us + venc_fetch_within_us) {
        stream.lost = true;
        let_go(stream);
    }
}

/* A frame came into hand: what does it say about losses? */
void note_losses(Stream &stream) {
    if (stream.frame.skipped != stream.skipped || stream.record.lost_before != 0) {
        stream.lost = true;
    }
    stream.skipped = stream.frame.skipped;
    note_age(stream);
}

/* Begins, repeats or ends the answers that were asked for. */
void note_answer(Stream &stream) {
    if (stream.record.kind == venc_frame) {
        stream.answering = false;
        return;
    }
    if (stream.record.kind == venc_silence) {
        stream.answering = false;
    } else if (stream.record.serial != stream.answer.serial) {
        stream.answer = stream.record;
        stream.answers_left = stream.record.count;
        stream.answering = true;
    }
    let_go(stream);
}

/* Takes the next record off the channel without waiting: 1 taken, 0 none there, negative: the board failed.
 */
int take_record(Stream &stream) {
    shbf_event_t event;
    const int32_t status = shbf_rcv_next(stream.receiver, &event, 0);
    if (status <= 0) {
        return status == -EINTR ? 0 : status;
    }
    if (event.kind != SHBF_EVENT_FRAME) {
        return 1;
    }
    stream.frame = event.frame;
    stream.holding = true;
    if (stream.frame.size < sizeof stream.record) {
        return -EPROTO;
    }
    memcpy(&stream.record, stream.frame.data, sizeof stream.record);
    if (!record_is_sound(stream.record, stream.frame.size)) {
        return -EPROTO;
    }
    note_losses(stream);
    if (stream.holding) {
        note_answer(stream);
    }
    return 1;
}

enum class Wait { ready, nothing, failed };

/* Waits until the channel has something to say or the time is up. */
Wait wait_for_record(const Stream &stream, uint64_t deadline_us) {
    const uint64_t now_us = monotonic_us();
    const int left_ms = now_us >= deadline_us ? 0 : static_cast<int>((deadline_us - now_us) / 1000);
    pollfd entries[] = {{shbf_rcv_fd(stream.receiver), POLLIN, 0}, {link_fd(), POLLRDHUP, 0}};
    if (poll(entries, 2, left_ms) <= 0) {
        return Wait::nothing;
    }
    return entries[1].revents == 0 ? Wait::ready : Wait::failed;
}

/* Holds a frame afterwards, unless there is none in time; false when the board has failed. */
bool find_frame(Stream &stream, uint64_t deadline_us) {
    while (!stream.holding) {
        const Wait wait = wait_for_record(stream, stream.answering ? 0 : deadline_us);
        if (wait != Wait::ready) {
            return wait == Wait::nothing;
        }
        int taken = 1;
        while (taken > 0 && !stream.holding) {
            taken = take_record(stream);
        }
        if (taken < 0) {
            return false;
        }
        if (stream.answering || monotonic_us() >= deadline_us) {
            return true;
        }
    }
    return true;
}

int32_t no_frame(VideoFrameInfo *info) {
    memset(info, 0, sizeof *info);
    return 0;
}

int32_t answer_as_told(Stream &stream, VideoFrameInfo *info) {
    if (stream.answers_left > 0 && --stream.answers_left == 0) {
        stream.answering = false;
        // Lost when boardd does not read: it then goes on sending nothing, until the fault is cleared.
        const AnswersUsedUp message = {venc_magic, stream.answer.serial};
        (void)shbf_rcv_send(stream.receiver, &message, sizeof message);
    }
    return stream.answer.result == 0 ? no_frame(info) : stream.answer.result;
}

/* The frame in hand goes to the caller. */
int32_t hand_over(Stream &stream, void *payload, uint32_t capacity, VideoFrameInfo *info) {
    if (stream.lost) {
        stream.lost = false;
        return lost_result;
    }
    const bool fits = stream.record.info.len <= capacity;
    if (fits) {
        memcpy(payload, static_cast<const uint8_t *>(stream.frame.data) + sizeof stream.record,
               stream.record.info.len);
        *info = stream.record.info;
    }
    let_go(stream);
    return fits ? 0 : lost_result;
}

int32_t fetch(Stream &stream, void *payload, uint32_t capacity, VideoFrameInfo *info) {
    if (stream.holding) {
        note_age(stream); // the caller may have paused since the last fetch
    }
    if (!find_frame(stream, monotonic_us() + fetch_wait_us)) {
        link_fail();
        return -1;
    }
    if (stream.answering) {
        return answer_as_told(stream, info);
    }
    return stream.holding ? hand_over(stream, payload, capacity, info) : no_frame(info);
}

bool open_stream(Stream &stream, const char *path) {
    if (stream.receiver == nullptr) {
        const shbf_rcv_options_t options = {venc_window, control_timeout_ms};
        stream.receiver = shbf_rcv_open(path, &options);
    }
    return stream.receiver != nullptr;
}

} // namespace

bool streams_open() {
    for (int32_t channel = 0; channel < venc_channels; ++channel) {
        if (!open_stream(streams[channel], venc_paths[channel])) {
            streams_close();
            return false;
        }
    }
    return true;
}

void streams_close() {
    for (Stream &stream : streams) {
        shbf_rcv_close(stream.receiver);
        stream = Stream();
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
