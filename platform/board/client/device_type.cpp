// Which sensor is fitted. A connection of its own for the one question: this library shares nothing with
// libboardav, and a connection that neither hands over a profile nor starts the board owns nothing.

#include "board/client/control_call.h"
#include "export.h"
#include "libdevice_kitv2.h"

#include <unistd.h>

using namespace board;

PLATFORM_API int32_t get_deviceType_by_sensor(int32_t *flag_300) {
    if (flag_300 == nullptr) {
        return -1;
    }
    const uint64_t deadline_us = monotonic_us() + control_timeout_ms * uint64_t{1000};
    const int fd = control_connect(deadline_us);
    if (fd < 0) {
        return -1;
    }
    int32_t flag = 0;
    int32_t result = -1;
    const ControlCall question = {op_sensor_class, 0, nullptr, 0, &flag, sizeof flag};
    const int status = control_call(fd, 1, question, deadline_us, &result);
    close(fd);
    if (status < 0 || result < 0) {
        return -1;
    }
    *flag_300 = flag;
    return 0;
}
