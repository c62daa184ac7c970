// Speaker, volume and echo cancellation.
//
// play_sound has a connection of its own, so that no other call waits behind a sound. It hands over 40 ms at
// a time; boardd answers when its queue has taken them. While that takes its time the wait looks up every few
// milliseconds whether the board has been shut down, for nothing else would wake it.

#include "board/client/link.h"
#include "board/client/streams.h"
#include "export.h"
#include "libboardav.h"

#include <errno.h>
#include <pthread.h>
#include <string.h>

namespace board {

namespace {

constexpr uint64_t look_up_us = 10000;
constexpr uint64_t room_within_us = 2000000; // a speaker that takes nothing for so long has failed
constexpr uint32_t sample_bytes = 2;

pthread_mutex_t play_lock = PTHREAD_MUTEX_INITIALIZER; // one sound at a time; guards what follows
int play_fd = -1;
uint32_t next_id = 1;

/* The connection for playing, or negative. Under the lock. */
int connected_fd() {
    if (play_fd < 0) {
        play_fd = control_connect(monotonic_us() + room_within_us);
    }
    return play_fd;
}

/* Plays one piece: true when the speaker has taken it. Under the lock. */
bool play_piece(const uint8_t *bytes, uint32_t length) {
    PlayRecord record = {length, 0, {}};
    memcpy(record.pcm, bytes, length);
    const ControlCall call = {op_play, 0, &record, sizeof record, nullptr, 0};
    const uint32_t id = next_id++;
    const uint64_t deadline_us = monotonic_us() + room_within_us;
    int32_t result = -1;
    int status = control_send(play_fd, id, call);
    while (status == 0 && link_good()) {
        const uint64_t next_look_us = monotonic_us() + look_up_us;
        status = control_receive(play_fd, id, call, next_look_us, &result);
        if (status != -ETIMEDOUT || next_look_us >= deadline_us) {
            break;
        }
        status = 0;
    }
    if (status == -EPIPE || status == -EPROTO) {
        link_fail();
    }
    return status == 0 && link_good() && result == 0;
}

/* Under the lock. */
int32_t play(const uint8_t *bytes, uint32_t length) {
    if (connected_fd() < 0) {
        return -1;
    }
    while (length > 0) {
        const uint32_t piece = length < play_max_bytes ? length : play_max_bytes;
        if (!play_piece(bytes, piece)) {
            return -1;
        }
        bytes += piece;
        length -= piece;
    }
    return 0;
}

/* A call that the board answers, once it runs. */
int32_t call_board(uint32_t op, int32_t value) {
    return streams_running() ? link_call({op, value, nullptr, 0, nullptr, 0}) : -1;
}

/* One that it does not answer, for signal handlers. */
int32_t tell_board(uint32_t op, int32_t value) {
    return streams_running() ? link_tell(op, value) : -1;
}

} // namespace

} // namespace board

using namespace board;

PLATFORM_API int32_t play_sound(const void *bytes, int32_t length) {
    if (bytes == nullptr || length < 0 || !streams_running() || !link_good()) {
        return -1;
    }
    const auto whole = static_cast<uint32_t>(length) / sample_bytes * sample_bytes;
    pthread_mutex_lock(&play_lock);
    const int32_t result = play(static_cast<const uint8_t *>(bytes), whole);
    pthread_mutex_unlock(&play_lock);
    return result;
}

PLATFORM_API int32_t enable_speaker(void) {
    return call_board(op_speaker, 1);
}

PLATFORM_API int32_t disable_speaker(void) {
    return tell_board(op_hush, hush_speaker);
}

PLATFORM_API int32_t enable_aec(void) {
    return call_board(op_aec, 1);
}

PLATFORM_API int32_t disable_aec(void) {
    return tell_board(op_hush, hush_aec);
}

PLATFORM_API int32_t set_speaker_vol(int32_t volume) {
    return call_board(op_volume, volume);
}

PLATFORM_API int32_t set_speaker_talking_vol(void) {
    return call_board(op_volume_preset, 1);
}

PLATFORM_API int32_t set_speaker_vol_default(void) {
    return call_board(op_volume_preset, 0);
}
