#include "strellctl/wall_clock.h"

#include "strellctl/wording.h"

#include <ctime>

namespace ctl {

std::string wall_clock_text() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    localtime_r(&now.tv_sec, &parts);
    return format("%04d-%02d-%02d %02d:%02d:%02d.%03ld", parts.tm_year + 1900, parts.tm_mon + 1,
                  parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec, now.tv_nsec / 1'000'000);
}

} // namespace ctl
