// Log lines to standard error, one write a line, so that lines of several threads and processes never mix.
// No heap, no stdio stream, no lock: the calls are made from signal handlers too.

#include "libvuto_util.h"

#include "export.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr size_t line_max = 1024;

int log_line(const char *level, const char *format, va_list arguments) {
    const int saved_errno = errno;
    char line[line_max];
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    int head = snprintf(line, sizeof line, "%lld.%06ld %s ", static_cast<long long>(now.tv_sec),
                        now.tv_nsec / 1000, level);
    errno = saved_errno; // for "%m"
    const size_t room = sizeof line - static_cast<size_t>(head);
    int text = vsnprintf(line + head, room, format, arguments);
    if (text < 0) {
        errno = saved_errno;
        return -1;
    }
    size_t length = static_cast<size_t>(head) + strnlen(line + head, room);
    while (length > static_cast<size_t>(head) && (line[length - 1] == '\n' || line[length - 1] == '\r')) {
        --length;
    }
    line[length++] = '\n';
    const ssize_t written = write(STDERR_FILENO, line, length);
    errno = saved_errno;
    return static_cast<int>(written);
}

} // namespace

#define LOG_AT(level)                                                                                        \
    va_list arguments;                                                                                       \
    va_start(arguments, format);                                                                             \
    const int result = log_line(level, format, arguments);                                                   \
    va_end(arguments);                                                                                       \
    return result

PLATFORM_API int log_err(const char *format, ...) {
    LOG_AT("error");
}

PLATFORM_API int log_warning(const char *format, ...) {
    LOG_AT("warning");
}

PLATFORM_API int log_info(const char *format, ...) {
    LOG_AT("info");
}

PLATFORM_API int log_debug(const char *format, ...) {
    LOG_AT("debug");
}

PLATFORM_API uint32_t vuto_round(uint32_t value, uint32_t alignment) {
    if (alignment == 0) {
        return value;
    }
    return (value + alignment - 1) / alignment * alignment;
}
