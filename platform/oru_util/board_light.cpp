#include "oru_util/board_light.h"

#include "board/client/control_call.h"

#include <unistd.h>

using namespace board;

namespace oru {

namespace {

int32_t ask(const ControlCall &call) {
    const uint64_t deadline_us = monotonic_us() + control_timeout_ms * uint64_t{1000};
    const int fd = control_connect(deadline_us);
    if (fd < 0) {
        return fd;
    }
    int32_t result = -1;
    const int status = control_call(fd, 1, call, deadline_us, &result);
    close(fd);
    return status < 0 ? status : result;
}

} // namespace

int32_t move_filter(int32_t position) {
    return ask({op_ircut, position, nullptr, 0, nullptr, 0});
}

int32_t set_light(const LightRecord &record) {
    return ask({op_light, 0, &record, sizeof record, nullptr, 0});
}

int32_t see_light(LightSeenRecord *seen) {
    return ask({op_light_seen, 0, nullptr, 0, seen, sizeof *seen});
}

} // namespace oru
