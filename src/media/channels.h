/*
 * The shared-buffer channels under /run: which there are, and how producers publish on them.
 *
 *   media     0 /run/video_mainstream   out: main stream       in: "REQ_IDR"
 *             1 /run/video_substream    out: sub stream        in: "REQ_IDR"
 *             2 /run/video_rawstream    in: request, out: raw frame to who asked
 *             3 /run/jpeg_snap          in: request, out: JPEG to who asked
 *             4 /run/audio_in           out: captured audio    in: "REQ_IDR"
 *             5 /run/audio_play         in: audio to play, "SOUND_BAN", "SOUND_UNBAN"
 *   events    0 /run/md_event           out: motion and other detections, as text
 *             1 /run/motor_event        (has a path; nobody creates it)
 *             2 /run/lsd_event          out: abnormal sound, as text
 *
 * Threads: creation, tear-down and every callback on the loop thread; shbf_brd_alloc, shbf_brd_broadcast and
 * shbf_event_broadcast on any thread. No locks: receiver counts are written on the loop thread and read by
 * producers, and are as right as counters need be.
 */
#ifndef MEDIA_CHANNELS_H
#define MEDIA_CHANNELS_H

#include "core/relaxed.h"
#include "libshbfev.h"

#include <atomic>
#include <stdint.h>

constexpr int32_t media_channel_count = 6;
constexpr int32_t event_channel_count = 3;

enum MediaChannelIndex : int32_t {
    channel_main_stream = 0,
    channel_sub_stream = 1,
    channel_raw_stream = 2,
    channel_jpeg = 3,
    channel_audio_in = 4,
    channel_audio_play = 5,
};

enum EventChannelIndex : int32_t {
    event_channel_motion = 0,
    event_channel_motor = 1,
    event_channel_sound = 2,
};

struct MediaChannel {
    /* Null until the channel is created; stays set after tear-down, when buffers of it reach nobody. Set on
     * the loop thread, used by producers. */
    std::atomic<shbfev_brd_t *> broadcaster{nullptr};
    Relaxed<int32_t> receivers{0}; // attached now
    int32_t index{0};              // its own, for log lines; loop thread
};

extern MediaChannel media_channels[media_channel_count];
extern MediaChannel shbf_mde[event_channel_count]; // `receivers` stays 0 here

/* Consecutive failed broadcasts, over all media channels. */
extern Relaxed<int32_t> broadcast_fail_count;

/* Creates and starts media channel `index` on the default loop. Result: 0 or -1. */
int32_t shbf_init(int32_t index);

/* The same for event channel `index`. Result: what starting it gave, 0 or more, or -1. */
int32_t shbf_server_int(int32_t index);

/*
 * A buffer of media channel `index`, or null when the channel was not created or has no room. The index is
 * the caller's to get right.
 */
uint8_t *shbf_brd_alloc(int32_t index, uint32_t size);

/*
 * Publishes a buffer of shbf_brd_alloc to every receiver of the channel; drops it when there is none. Takes
 * the buffer in every case. Every 12th failure in a row is reported (fetch_error.h).
 */
void shbf_brd_broadcast(int32_t index, void *buffer);

/*
 * Publishes a text on event channel `index`; `length` is without the NUL, which is sent too. Result: as
 * shbfev_brd_broadcast_message, or 0 when the channel does not exist.
 */
int32_t shbf_event_broadcast(int32_t index, const char *text, int32_t length);

#endif
