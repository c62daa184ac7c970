#include "board/boardd/log.h"

#include <cstdarg>
#include <cstdio>

namespace board {

void log_line(const char *format, ...) {
    char text[1000];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    std::fprintf(stderr, "boardd: %s\n", text);
}

} // namespace board
