#include "algo_kit/session.h"

#include "board/client/control_call.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

using namespace board;

namespace algo_kit {

namespace {

enum class Judged { good, too_old, nonsense };

/* Every byte comes from another process. `payload` is in shared memory, and is read once. */
Judged judge(const AlgoRecord &record, const uint8_t *payload, size_t bytes, Detection *detection) {
    const AlgoInfo &info = record.info;
    if (record.magic != algo_magic || record.kind != venc_frame || info.len != bytes) {
        return Judged::nonsense;
    }
    detection->what = info.what;
    if (info.what == algo_direction) {
        if (bytes != sizeof detection->direction) {
            return Judged::nonsense;
        }
        memcpy(&detection->direction, payload, bytes);
        return monotonic_us() > record.published_us + algo_track_within_us ? Judged::too_old : Judged::good;
    }
    if (info.what != algo_event || bytes < 2 || bytes > sizeof detection->text.bytes) {
        return Judged::nonsense;
    }
    memcpy(detection->text.bytes, payload, bytes);
    // One NUL, at the end: the text is as long as it says.
    if (strnlen(detection->text.bytes, bytes) != bytes - 1) {
        return Judged::nonsense;
    }
    detection->text.length = static_cast<int32_t>(bytes - 1);
    return Judged::good;
}

Judged judge_frame(const shbf_frame_t &frame, Detection *detection) {
    AlgoRecord record;
    if (frame.size < sizeof record) {
        return Judged::nonsense;
    }
    memcpy(&record, frame.data, sizeof record);
    const uint8_t *payload = static_cast<const uint8_t *>(frame.data) + sizeof record;
    return judge(record, payload, frame.size - sizeof record, detection);
}

} // namespace

bool session_open(Session &session) {
    if (session.control >= 0) {
        return true;
    }
    session.control = control_connect(monotonic_us() + control_timeout_ms * uint64_t{1000});
    if (session.control < 0) {
        session.control = -1;
        return false;
    }
    const shbf_rcv_options_t options = {algo_window, control_timeout_ms};
    session.receiver = shbf_rcv_open(algo_path, &options);
    if (session.receiver == nullptr) {
        session_close(session);
    }
    return session.control >= 0;
}

void session_close(Session &session) {
    if (session.control >= 0) {
        close(session.control);
    }
    if (session.receiver != nullptr) {
        shbf_rcv_close(session.receiver);
    }
    session = closed_session;
}

int32_t session_call(Session &session, uint32_t op, int32_t value, const void *payload,
                     size_t payload_bytes) {
    const ControlCall call = {op, value, payload, payload_bytes, nullptr, 0};
    int32_t result = -1;
    const uint64_t deadline_us = monotonic_us() + control_timeout_ms * uint64_t{1000};
    const int status = control_call(session.control, session.next_id++, call, deadline_us, &result);
    return status == 0 ? result : -1;
}

Taken session_take(Session &session, Detection *detection) {
    for (int i = 0; i < session_takes_most; ++i) {
        shbf_event_t event;
        const int32_t status = shbf_rcv_next(session.receiver, &event, 0);
        if (status == 0 || status == -EINTR) {
            return Taken::nothing;
        }
        if (status < 0) {
            return Taken::failed;
        }
        if (event.kind != SHBF_EVENT_FRAME) {
            continue;
        }
        const Judged judged = judge_frame(event.frame, detection);
        const bool whole = shbf_rcv_intact(session.receiver) == 1;
        shbf_rcv_release(session.receiver, &event.frame);
        if (judged == Judged::nonsense || !whole) {
            return Taken::failed;
        }
        if (judged == Judged::good) {
            return Taken::detection;
        }
    }
    return Taken::more;
}

} // namespace algo_kit
