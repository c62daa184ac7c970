// Asking a channel who may listen, and who does.

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

/* Whoever serves the path may have said anything: lists are no longer than they can be. */
bool is_sound(const shbf_access_t &access) {
    return access.user_count <= SHBF_ACCESS_NAMES_MAX && access.group_count <= SHBF_ACCESS_NAMES_MAX &&
           access.attached_count <= SHBF_RECEIVERS_MAX;
}

int take_answer(int fd, shbf_access_t *access) {
    AccessPacket packet{};
    const int length = packet_receive_answer(fd, &packet, sizeof packet);
    if (length < 0) {
        return length;
    }
    if (length == static_cast<int>(sizeof packet) && packet.kind == Kind::access && is_sound(packet.access)) {
        *access = packet.access;
        return 0;
    }
    Refused refused{};
    if (length == static_cast<int>(sizeof refused)) {
        memcpy(&refused, &packet, sizeof refused);
    }
    return reason_of(refused);
}

} // namespace

PLATFORM_API int32_t shbf_channel_access(const char *path, shbf_access_t *access, int32_t timeout_ms) {
    const int64_t deadline_ms = now_ms() + timeout_ms;
    Link link;
    int result = shbf_link_open(&link, path, Role::access, 0, timeout_ms);
    if (result == 0) {
        const int64_t left = deadline_ms - now_ms();
        pollfd poller = {link.fd, POLLIN, 0};
        const int ready = poll(&poller, 1, left > 0 ? static_cast<int>(left) : 0);
        result = ready > 0 ? take_answer(link.fd, access) : ready == 0 ? -ETIMEDOUT : -errno;
    }
    shbf_link_close(&link);
    return result;
}
