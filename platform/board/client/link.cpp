// Between link_exit and a connection that is being made on another thread neither may miss the other: each
// first writes its own word (ended, control_fd) and then reads the other's, in one total order
// (seq_cst), so at least one of the two sees what the other wrote.

#include "board/client/link.h"

#include <atomic>
#include <errno.h>
#include <pthread.h>
#include <sys/socket.h>
#include <time.h>

namespace board {

namespace {

pthread_mutex_t call_lock = PTHREAD_MUTEX_INITIALIZER; // one call at a time; guards next_id
uint32_t next_id = 1;
std::atomic<int32_t> control_fd{-1};
std::atomic<int32_t> ended{0};

/* Waits for the calls of other threads, but not for longer than a call may take. By the wall clock, which is
 * all that pthread_mutex_timedlock knows; when that jumps, the other calls' own limit still holds. */
bool lock_calls(uint32_t timeout_ms) {
    timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += static_cast<time_t>(timeout_ms / 1000);
    return pthread_mutex_timedlock(&call_lock, &deadline) == 0;
}

/* The descriptor, connected if need be, or negative. Under the lock. */
int connected_fd(uint64_t deadline_us) {
    int fd = control_fd.load();
    if (fd < 0) {
        fd = control_connect(deadline_us);
        if (fd < 0) {
            return fd;
        }
        control_fd.store(fd);
    }
    return ended.load() == 0 ? fd : -ESHUTDOWN;
}

int32_t locked_call(const ControlCall &call, uint64_t deadline_us) {
    const int fd = connected_fd(deadline_us);
    if (fd < 0) {
        return -1;
    }
    int32_t result = -1;
    const int status = control_call(fd, next_id++, call, deadline_us, &result);
    if (status == -EPIPE || status == -EPROTO) {
        link_fail();
    }
    return status == 0 && ended.load() == 0 ? result : -1;
}

} // namespace

int32_t link_call(const ControlCall &call, uint32_t timeout_ms) {
    const uint64_t deadline_us = monotonic_us() + timeout_ms * uint64_t{1000};
    if (!link_good() || !lock_calls(timeout_ms)) {
        return -1;
    }
    const int32_t result = locked_call(call, deadline_us);
    pthread_mutex_unlock(&call_lock);
    return result;
}

bool link_good() {
    return ended.load() == 0;
}

int link_fd() {
    return control_fd.load();
}

void link_fail() {
    ended.store(1);
}

void link_exit() {
    ended.store(1);
    const int fd = control_fd.load();
    if (fd < 0) {
        return;
    }
    const int saved_errno = errno;
    const ControlRequest request = {control_magic, op_system_exit, 0, 0};
    // If the packet does not go through, boardd learns of the end by the end of this process.
    (void)send(fd, &request, sizeof request, MSG_DONTWAIT | MSG_NOSIGNAL);
    errno = saved_errno;
}

} // namespace board
