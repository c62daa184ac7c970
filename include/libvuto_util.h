/*
 * libvuto_util.so.0: log lines and rounding.
 *
 * The one place where the daemon talks to people. A port sends the lines to its own log daemon; the
 * development platform writes them to standard error, one line a call, with the level and the
 * monotonic time in front.
 *
 * Threads: every function may be called on any thread. The log calls are also made from signal handlers:
 * an implementation must not allocate, must not take a lock that an interrupted thread may hold, and must
 * leave errno as it found it (callers use "%m" and strerror(errno) on the next line).
 */
#ifndef LIBVUTO_UTIL_H
#define LIBVUTO_UTIL_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define VUTO_PRINTF_LIKE __attribute__((format(printf, 1, 2)))

/*
 * One log line at the level of the name. The text is part of what the daemon promises to its users; an
 * implementation prints it unchanged, but ends it with exactly one newline whether or not the text has
 * one. A line longer than the implementation's limit (development platform: 1024 bytes) is cut, never lost.
 *
 * Result: the number of bytes of the line, or a negative value when it could not be written. Callers of the
 * daemon ignore it. Never blocks longer than one write to the log takes.
 */
int log_err(const char *format, ...) VUTO_PRINTF_LIKE;
int log_warning(const char *format, ...) VUTO_PRINTF_LIKE;
int log_info(const char *format, ...) VUTO_PRINTF_LIKE;
int log_debug(const char *format, ...) VUTO_PRINTF_LIKE;

/*
 * Rounds `value` up to a multiple of `alignment`: vuto_round(40, 64) is 64, vuto_round(128, 64) is 128.
 * An alignment of 0 returns the value unchanged. The caller keeps value + alignment below 2^32.
 */
uint32_t vuto_round(uint32_t value, uint32_t alignment);

#ifdef __cplusplus
}
#endif

#endif
