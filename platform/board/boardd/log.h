/*
 * boardd's log: lines on standard error that begin with "boardd: ". Any thread; one write for each line, so
 * that lines of several threads do not mix.
 */
#ifndef PLATFORM_BOARD_BOARDD_LOG_H
#define PLATFORM_BOARD_BOARDD_LOG_H

namespace board {

/* A line as printf has it, without the newline. A text over 1000 bytes is cut. */
[[gnu::format(printf, 1, 2)]] void log_line(const char *format, ...);

} // namespace board

#endif
