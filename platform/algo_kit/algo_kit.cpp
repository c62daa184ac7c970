// The calls of libalgo_kit. What the daemon wants is kept here, whether boardd is there or not, and told to
// boardd whenever it changes; so a call may come before oru_api_algo_init, while it runs, or after it has
// failed. One lock orders the calls. It is held while boardd is asked, but never while a callback runs on the
// library's thread, which does not take it: so a call may wait for that thread.

#include "algo_kit/listener.h"
#include "algo_kit/session.h"
#include "export.h"
#include "libalgo_kit.h"

#include <string.h>

using namespace algo_kit;

namespace {

constexpr int32_t unknown = -1;

/* What boardd is told. */
struct Wishes {
    int32_t detect;
    int32_t track;
    int32_t sensitivity;
};

pthread_mutex_t calls = PTHREAD_MUTEX_INITIALIZER; // guards all that follows
Callbacks given;                                   // by oru_api_algo_init, also when it failed
bool asked;                                        // oru_api_algo_init has come
bool detecting;                                    // ... and succeeded
bool ended;                                        // oru_api_algo_deinit has come
bool paused;
bool tracking;
int32_t sensitivity;

Session session = closed_session;
Wishes told; // on this session
Listener listener = {PTHREAD_MUTEX_INITIALIZER, {nullptr, nullptr}, nullptr, -1, {}, {0}};

class Locked {
  public:
    Locked() { pthread_mutex_lock(&calls); }
    ~Locked() { pthread_mutex_unlock(&calls); }
    Locked(const Locked &) = delete;
    Locked &operator=(const Locked &) = delete;
};

void disconnect() {
    listener_stop(listener);
    session_close(session);
    told = {0, 0, 0};
}

/* True when boardd can be talked to. */
bool connect() {
    if (listener_started(listener) && listener.failed.load() == 0) {
        return true;
    }
    disconnect(); // what has failed stays so
    if (session_open(session) && listener_start(listener, session)) {
        return true;
    }
    disconnect();
    return false;
}

bool tell_one(uint32_t op, int32_t wanted, int32_t *known) {
    if (wanted == *known) {
        return true;
    }
    const bool good = op == board::op_algo_param ? session_call(session, op, board::algo_param_sensitivity,
                                                                &wanted, sizeof wanted) == 0
                                                 : session_call(session, op, wanted, nullptr, 0) == 0;
    *known = good ? wanted : unknown; // what it has not answered, it may do all the same
    return good;
}

/* Who is called back, and what boardd is to do, after something has changed. True when boardd knows it. */
bool apply() {
    const Wishes wishes = {detecting && !paused ? 1 : 0, tracking ? 1 : 0, sensitivity};
    listener_set(listener, {wishes.detect != 0 ? given.on_event : nullptr,
                            wishes.track != 0 && !ended ? given.on_track : nullptr});
    if (!listener_started(listener) || listener.failed.load() != 0) {
        return false;
    }
    const bool param = tell_one(board::op_algo_param, wishes.sensitivity, &told.sensitivity);
    const bool track = tell_one(board::op_algo_track, wishes.track, &told.track);
    const bool detect = tell_one(board::op_algo_detect, wishes.detect, &told.detect);
    return param && track && detect;
}

} // namespace

PLATFORM_API int32_t oru_api_algo_init(algo_event_callback_t on_event, algo_track_callback_t on_track) {
    const Locked lock;
    if (asked || ended) {
        return -1;
    }
    asked = true;
    given = {on_event, on_track};
    detecting = connect();
    if (!apply()) {
        detecting = false;
        if (!tracking || !apply()) { // tracking may work all the same
            disconnect();
        }
    }
    return detecting ? 0 : -1;
}

PLATFORM_API int32_t oru_api_algo_deinit(void) {
    const Locked lock;
    const bool was_detecting = detecting;
    detecting = false;
    ended = true;
    listener_set(listener, {nullptr, nullptr});
    disconnect();
    return was_detecting ? 0 : -1;
}

PLATFORM_API int32_t oru_api_algo_start(void) {
    const Locked lock;
    paused = false;
    (void)apply();
    return 0;
}

PLATFORM_API int32_t oru_api_algo_stop(void) {
    const Locked lock;
    paused = true;
    (void)apply();
    return 0;
}

PLATFORM_API int32_t oru_api_algo_set_param(int32_t parameter, const void *value, int32_t length) {
    int32_t wanted = 0;
    if (parameter != board::algo_param_sensitivity || value == nullptr || length != sizeof wanted) {
        return -1;
    }
    memcpy(&wanted, value, sizeof wanted);
    if (wanted != board::algo_sensitivity_normal && wanted != board::algo_sensitivity_lowest) {
        return -1;
    }
    const Locked lock;
    sensitivity = wanted;
    (void)apply();
    return 0;
}

PLATFORM_API int32_t track_init(void) {
    const Locked lock;
    tracking = true;
    const bool good = !ended && connect() && apply();
    return good ? 0 : -1;
}

PLATFORM_API int32_t track_deinit(void) {
    const Locked lock;
    tracking = false;
    (void)apply();
    return 0;
}
