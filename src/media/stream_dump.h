/*
 * Writes what is passed through a video channel into a file on the storage card, one file for each channel:
 * "/mnt/sdcard/stream-0.h265", "/mnt/sdcard/stream-1.h265". For looking at a stream when that is needed; no
 * thread of the daemon does so by itself. examples/stream_dump.cpp does.
 *
 * The file holds the bytes exactly as they are passed in: a stream that players understand, when those are
 * the payloads without their frame headers.
 *
 * `channel` is 0 or 1, and is the caller's to get right.
 *
 * Threads: any; one at a time for each channel.
 */
#ifndef MEDIA_STREAM_DUMP_H
#define MEDIA_STREAM_DUMP_H

#include <stdint.h>

constexpr int32_t dump_channel_count = 2;

/*
 * Opens the channel's file, and empties the one that is there. Result: 0, or -1, which is logged, when it
 * cannot be made: there is no card, as a rule. A file that is still open from before is forgotten, not
 * closed.
 */
int32_t dump_open(int32_t channel);

/*
 * Appends `length` bytes. Result: 0 when all of them were written; otherwise -1, which is logged, and some of
 * them may be in the file.
 */
int32_t dump_write(int32_t channel, const void *data, int32_t length);

/* Closes the channel's file. Result: that of close(). */
int32_t dump_close(int32_t channel);

#endif
