// Asking a channel about itself: who may listen, and who does; how much there is.

#include "shbf/access.h"
#include "shbf/link.h"
#include "shbf/packet.h"

#include <errno.h>
#include <poll.h>
#include <string.h>
#include <time.h>

using namespace shbf;

namespace {

int64_t now_ms() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

int wait_for_answer(int fd, int64_t deadline_ms) {
    const int64_t left = deadline_ms - now_ms();
    pollfd poller = {fd, POLLIN, 0};
    const int ready = poll(&poller, 1, left > 0 ? static_cast<int>(left) : 0);
    return ready > 0 ? 0 : ready == 0 ? -ETIMEDOUT : -errno;
}

/* The answer to `question`, of any content: its length, or a negative errno value. */
int ask(const char *path, Role question, void *answer, size_t capacity, int timeout_ms) {
    const int64_t deadline_ms = now_ms() + timeout_ms;
    Link link;
    int result = shbf_link_open(&link, path, question, 0, timeout_ms);
    result = result == 0 ? wait_for_answer(link.fd, deadline_ms) : result;
    result = result == 0 ? packet_receive_answer(link.fd, answer, capacity) : result;
    shbf_link_close(&link);
    return result;
}

/* What an answer comes to that is not what was asked for. */
int refusal(const void *answer, int length) {
    Refused refused{};
    if (length == static_cast<int>(sizeof refused)) {
        memcpy(&refused, answer, sizeof refused);
    }
    return length < 0 ? length : reason_of(refused);
}

/* Whoever serves the path may have said anything: lists are no longer than they can be. */
bool is_sound(const shbf_access_t &access) {
    return access.user_count <= SHBF_ACCESS_NAMES_MAX && access.group_count <= SHBF_ACCESS_NAMES_MAX &&
           access.attached_count <= SHBF_RECEIVERS_MAX;
}

} // namespace

PLATFORM_API int32_t shbf_channel_query(const char *path, shbf_channel_info_t *info, int32_t timeout_ms) {
    Info answer{};
    const int length = ask(path, Role::query, &answer, sizeof answer, timeout_ms);
    if (length != static_cast<int>(sizeof answer) || answer.kind != Kind::info) {
        return refusal(&answer, length);
    }
    *info = {answer.receivers,  answer.published, answer.skipped, answer.arena_bytes,
             answer.arena_used, answer.buffers,   answer.pid};
    return 0;
}

PLATFORM_API int32_t shbf_channel_access(const char *path, shbf_access_t *access, int32_t timeout_ms) {
    AccessPacket answer{};
    const int length = ask(path, Role::access, &answer, sizeof answer, timeout_ms);
    if (length != static_cast<int>(sizeof answer) || answer.kind != Kind::access ||
        !is_sound(answer.access)) {
        return refusal(&answer, length);
    }
    *access = answer.access;
    return 0;
}
