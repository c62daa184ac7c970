#include "board/client/record_stream.h"

#include "board/client/link.h"

#include <errno.h>
#include <poll.h>
#include <string.h>

namespace board {

namespace {

/* True when the record is one that boardd sends and fits the frame's size. */
bool record_is_sound(const RecordStream &stream) {
    const StreamRecord<RecordInfo> &record = stream.record;
    const uint32_t payload_bytes = stream.frame.size - static_cast<uint32_t>(sizeof record);
    if (record.magic != stream.kind.magic) {
        return false;
    }
    if (record.kind == venc_frame) {
        return payload_bytes > 0 && record_stream_length(stream) == payload_bytes;
    }
    const bool answers = record.kind == venc_answer || record.kind == venc_silence;
    return answers && payload_bytes == 0 && record.result <= 0 && record.result >= -2;
}

/* Drops the frame in hand when it has become too old. */
void note_age(RecordStream &stream) {
    if (stream.record.kind == venc_frame &&
        monotonic_us() > stream.record.published_us + stream.kind.fetch_within_us) {
        stream.lost = true;
        record_stream_let_go(stream);
    }
}

/* A frame came into hand: what does it say about losses? */
void note_losses(RecordStream &stream) {
    if (stream.frame.skipped != stream.skipped || stream.record.lost_before != 0) {
        stream.lost = true;
    }
    stream.skipped = stream.frame.skipped;
    note_age(stream);
}

/* Begins, repeats or ends the answers that were asked for. */
void note_answer(RecordStream &stream) {
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
    record_stream_let_go(stream);
}

/* Takes the next record off the channel without waiting: 1 taken, 0 none there, negative: the board failed.
 */
int take_record(RecordStream &stream) {
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
    if (!record_is_sound(stream)) {
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
Wait wait_for_record(const RecordStream &stream, uint64_t deadline_us) {
    const uint64_t now_us = monotonic_us();
    const int left_ms = now_us >= deadline_us ? 0 : static_cast<int>((deadline_us - now_us) / 1000);
    pollfd entries[] = {{shbf_rcv_fd(stream.receiver), POLLIN, 0}, {link_fd(), POLLRDHUP, 0}};
    if (poll(entries, 2, left_ms) <= 0) {
        return Wait::nothing;
    }
    return entries[1].revents == 0 ? Wait::ready : Wait::failed;
}

/* Holds a frame afterwards, unless there is none in time; false when the board has failed. */
bool find_frame(RecordStream &stream, uint64_t deadline_us) {
    if (stream.holding) {
        return true;
    }
    Wait wait = wait_for_record(stream, 0); // has it failed?
    while (!stream.holding && wait != Wait::failed) {
        int taken = 1;
        while (taken > 0 && !stream.holding) {
            taken = take_record(stream);
        }
        if (taken < 0) {
            return false;
        }
        if (stream.holding || stream.answering || monotonic_us() >= deadline_us) {
            return true;
        }
        wait = wait_for_record(stream, deadline_us);
    }
    return wait != Wait::failed;
}

/* One of the answers that boardd wants given. */
int32_t next_answer(RecordStream &stream) {
    if (stream.answers_left > 0 && --stream.answers_left == 0) {
        stream.answering = false;
        // Lost when boardd does not read: it then goes on sending nothing, until the fault is cleared.
        const AnswersUsedUp message = {stream.kind.magic, stream.answer.serial};
        (void)shbf_rcv_send(stream.receiver, &message, sizeof message);
    }
    return stream.answer.result;
}

} // namespace

bool record_stream_open(RecordStream &stream, const RecordKind &kind) {
    if (stream.receiver == nullptr) {
        const shbf_rcv_options_t options = {kind.window, control_timeout_ms};
        stream.kind = kind;
        stream.receiver = shbf_rcv_open(kind.path, &options);
    }
    return stream.receiver != nullptr;
}

void record_stream_close(RecordStream &stream) {
    shbf_rcv_close(stream.receiver);
    stream = RecordStream();
}

Fetched record_stream_fetch(RecordStream &stream, int32_t *result) {
    *result = 0;
    if (stream.holding) {
        note_age(stream); // the caller may have paused since the last fetch
    }
    if (!find_frame(stream, monotonic_us() + fetch_wait_us)) {
        link_fail();
        *result = -1;
    } else if (stream.answering) {
        *result = next_answer(stream);
    } else if (stream.holding) {
        return Fetched::frame;
    }
    return Fetched::nothing;
}

const uint8_t *record_stream_payload(const RecordStream &stream) {
    return static_cast<const uint8_t *>(stream.frame.data) + sizeof stream.record;
}

uint32_t record_stream_length(const RecordStream &stream) {
    uint32_t length = 0;
    memcpy(&length, stream.record.info.bytes + stream.kind.length_at, sizeof length);
    return length;
}

void record_stream_let_go(RecordStream &stream) {
    shbf_rcv_release(stream.receiver, &stream.frame);
    stream.holding = false;
}

} // namespace board
