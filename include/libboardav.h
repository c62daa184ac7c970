/*
 * libboardav: the board. Sensor, image signal processor, encoders, microphone, speaker, overlay, lamp.
 *
 * Lengths: what a call says that it has written (`len` of a record) is at most the capacity that it was
 * given; the daemon relies on it and publishes that many bytes.
 *
 * Life: get_deviceType_by_sensor (libdevice_kitv2.h) and control_venc_dynamically may be called first; then
 * board_system_init once; then everything else; board_system_exit ends it, from a signal handler as a rule,
 * and the process ends behind it without waiting for the threads that are inside calls.
 *
 * Threads, unless a function says otherwise: any thread, several at a time. Each of get_video_stream's
 * channels, and get_audio_stream, is called by one thread only.
 *
 * Blocking: a control call may take as long as the hardware does (development platform: at most 2 s, and 5 s
 * for board_system_init, then it fails). A stream call waits for data at most 90 ms, less than the 100 ms
 * that the daemon gives its threads to come to rest before it hands over a new profile.
 *
 * Results: 0 or more for success and a negative value for failure, unless a function says otherwise. A board
 * that has failed for good (unplugged, crashed) fails every call at once with -1 until the process starts
 * anew.
 *
 * Every record is little-endian with the widths given, and the same on 32-bit and 64-bit machines.
 */
#ifndef LIBBOARDAV_H
#define LIBBOARDAV_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#define LIBBOARDAV_ASSERT(condition) static_assert(condition, #condition)
#else
#define LIBBOARDAV_ASSERT(condition) _Static_assert(condition, #condition)
#endif

/* ---- start and end ---- */

/* How one channel encodes. Six words. */
typedef struct VencChannel {
    int32_t pt;       /* 0 H.264 (ITU-T H.264), 1 H.265 (ITU-T H.265) */
    int32_t reserved; /* 0 */
    int32_t bitrate;  /* target, bit/s */
    int32_t fps;      /* frames per second */
    int32_t width;    /* pixels */
    int32_t height;   /* pixels */
} VencChannel;

/* The encoder profile. */
typedef struct VencConfig {
    uint8_t ready;          /* 1 once the profile has been filled */
    uint8_t padding[3];     /* 0 */
    int32_t bind_status;    /* 1 when the camera is bound to an owner */
    VencChannel channel[2]; /* main stream, sub stream */
} VencConfig;

LIBBOARDAV_ASSERT(sizeof(VencChannel) == 24);
LIBBOARDAV_ASSERT(sizeof(VencConfig) == 56);
LIBBOARDAV_ASSERT(offsetof(VencConfig, bind_status) == 4);
LIBBOARDAV_ASSERT(offsetof(VencConfig, channel) == 8);

/*
 * Hands the profile to the encoders. Before board_system_init it is kept for it; afterwards the encoders of
 * changed channels restart with it: their sequence numbers begin at 0 again, with a key frame. `config` is
 * copied.
 *
 * Result: negative when the board cannot do it (a size of 0 x 0, or one that it does not offer); it then goes
 * on as before.
 */
int32_t control_venc_dynamically(const VencConfig *config);

/*
 * Brings up sensor, encoders, audio and overlay. `bind_status` is 1 when the camera is bound to an owner.
 * Blocks until frames are on their way or it is clear that none will come.
 */
int32_t board_system_init(int32_t bind_status);

/*
 * Shuts the board down. To be ready for:
 *   - a signal handler on any thread, at any moment: it must be async-signal-safe and must not wait for
 *     a lock or for the hardware;
 *   - any number of calls, also one within another (SIGTERM while SIGINT is handled) and at the same time on
 *     several threads (a SIGSEGV elsewhere), and once more from the end of main;
 *   - a call before, during and without board_system_init, and after one that failed;
 *   - other calls in progress on other threads, and new ones afterwards: they fail or return nothing;
 *   - exit() behind it while they are still inside: nothing that they use may be torn down by destructors
 *     or atexit.
 */
void board_system_exit(void);

/* ---- video ---- */

/* In front of every published video frame. 32 bytes; the daemon passes the board-defined words through. */
typedef struct VideoFrameInfo {
    uint32_t board0;       /*  0: board-defined. Software board: encoding, 0 H.264, 1 H.265, 2 JPEG */
    uint32_t seq;          /*  4: counted by the encoder since it last started; its first frame is 0 */
    uint64_t timestamp_us; /*  8: capture time, microseconds of the board's monotonic clock */
    uint32_t len;          /* 16: payload bytes; 0 means no frame */
    uint32_t is_key;       /* 20: non-zero for a frame that decodes without its predecessors (IDR) */
    uint32_t board24;      /* 24: board-defined. Software board: width | height << 16 */
    uint32_t board28;      /* 28: board-defined. Software board: 0 */
} VideoFrameInfo;

LIBBOARDAV_ASSERT(sizeof(VideoFrameInfo) == 32);
LIBBOARDAV_ASSERT(offsetof(VideoFrameInfo, seq) == 4);
LIBBOARDAV_ASSERT(offsetof(VideoFrameInfo, timestamp_us) == 8);
LIBBOARDAV_ASSERT(offsetof(VideoFrameInfo, len) == 16);
LIBBOARDAV_ASSERT(offsetof(VideoFrameInfo, is_key) == 20);
LIBBOARDAV_ASSERT(offsetof(VideoFrameInfo, board24) == 24);

/*
 * Takes the next encoded frame of channel 0 (main) or 1 (sub): one access unit in Annex B byte-stream format,
 * key frames with their parameter sets in front. The payload is copied once, to `payload`.
 *
 * Result: 0 or more with *info filled; `info->len` is 0 when none came in time. -1: the encoder has failed.
 * -2: frames were lost (nobody fetched them in time, or one was larger than `capacity`), so what comes now
 * does not decode until the next key frame; said once for each loss. *info is undefined when negative.
 *
 * What a result costs: each but a frame makes the caller pause for 20 ms. With -2 it asks for a key frame
 * (req_IDR_one) and drops every frame before the next one. The 202nd -1 on a channel without a frame between
 * them ends the process; empty results and -2 neither count nor start the count anew. So -1 is for what does
 * not pass by itself, never for a picture that is late, and never for streams that are stopped.
 *
 * Called only while the camera is bound to an owner and no new profile is on its way: fetches may pause for
 * any time, during which frames are lost.
 */
int32_t get_video_stream(int32_t channel, void *payload, uint32_t capacity, VideoFrameInfo *info);

/* Asks one channel's encoder, or all encoders, for a key frame as soon as possible. */
int32_t req_IDR_one(int32_t channel);
int32_t req_IDR(void);

/*
 * Stops and starts the pictures, as the camera is switched off and on. They concern video alone: the
 * microphone goes on. Stopped, get_video_stream waits as ever and answers 0 with `info->len` 0, never -1; it
 * goes on with a key frame. Fetching does not stop with the streams. Stopping what is stopped is allowed and
 * happens.
 */
int32_t stop_stream(void);
int32_t start_stream(void);

/* A new bit rate for a running encoder, and what goes with it. Eight words; checked by the daemon. */
typedef struct BitrateControl {
    uint32_t channel;     /* encoder channel, 0 to 3 */
    uint32_t bitrate;     /* bit rate, 10 to 8000000 */
    uint32_t board2;      /* board-defined */
    uint32_t board3;      /* board-defined, 10 to 100 */
    uint32_t quantiser_a; /* quantiser bound, 1 to 51 */
    uint32_t quantiser_b; /* quantiser bound, 1 to 51 */
    uint32_t mode;        /* mode switch, 0 or 1; board-defined */
    uint32_t board7;      /* board-defined */
} BitrateControl;

LIBBOARDAV_ASSERT(sizeof(BitrateControl) == 32);

int32_t control_bitrate(const BitrateControl *record);

/* Told when the camera becomes bound to an owner (1) or ceases to be (0), so that the board may prepare. */
int32_t switch_ch5_res(int32_t bound);

/* ---- still pictures and raw frames ---- */

/*
 * A JPEG (ITU-T T.81) of the main stream's size, at most `capacity` bytes; the board lowers the quality
 * rather than fail for size. Blocks until it is taken, and the daemon's control loop with it. *info as for
 * video; board24 is the caller's to use. Not called while the streams are stopped.
 *
 * A negative result is not the end of it: the daemon sends the 32 bytes of *info to the client that asked. So
 * on failure, too, *info is written whole, with `len` 0.
 */
int32_t get_jpeg_snap(void *destination, uint32_t capacity, VideoFrameInfo *info);

/* In front of every raw frame. 40 bytes. */
typedef struct RawFrameInfo {
    uint32_t board0;       /*  0: board-defined. Software board: width */
    uint32_t board4;       /*  4: board-defined. Software board: height */
    uint32_t board8;       /*  8: board-defined. Software board: format, 0 planar 4:2:0 (I420) */
    uint32_t board12;      /* 12: board-defined. Software board: counts raw frames */
    uint32_t len;          /* 16: payload bytes */
    uint32_t board20;      /* 20: board-defined. Software board: 0, like the words behind it */
    uint32_t board24;      /* 24 */
    uint32_t board28;      /* 28 */
    uint64_t timestamp_us; /* 32: capture time, microseconds of the board's monotonic clock */
} RawFrameInfo;

LIBBOARDAV_ASSERT(sizeof(RawFrameInfo) == 40);
LIBBOARDAV_ASSERT(offsetof(RawFrameInfo, len) == 16);
LIBBOARDAV_ASSERT(offsetof(RawFrameInfo, timestamp_us) == 32);

/*
 * An uncompressed frame of 640 x 384 pixels, 368640 bytes. Blocks until the next one is captured. `bound` is
 * 1 when the camera is bound to an owner.
 *
 * Two callers. The control loop, on a client's request, stands still meanwhile; it does not call while the
 * streams are stopped. The raw stream's thread, where there is one, calls without a pause between frames,
 * also while the streams are stopped, and sends what it has got without a look at the result. So on failure,
 * too, *info is written whole, with `len` 0 (what is sent is as long as `len` says); a failure takes about as
 * long as a frame, for nothing else slows that thread down; and stopped the call fails so rather than wait
 * for the start.
 */
int32_t get_raw_frame(void *destination, uint32_t capacity, RawFrameInfo *info, int32_t bound);

/* ---- microphone and speaker: 16-bit little-endian linear PCM, 16 kHz, mono ---- */

/* In front of every published block of audio. 32 bytes. */
typedef struct AudioFrameInfo {
    uint32_t seq;          /*  0: written by the daemon, from 1 */
    uint32_t board4;       /*  4: board-defined, like the words behind it. Software board: 0 */
    uint32_t board8;       /*  8 */
    uint32_t board12;      /* 12 */
    uint64_t timestamp_us; /* 16: capture time, microseconds of the board's monotonic clock */
    uint32_t len;          /* 24: payload bytes */
    uint32_t board28;      /* 28: board-defined */
} AudioFrameInfo;

LIBBOARDAV_ASSERT(sizeof(AudioFrameInfo) == 32);
LIBBOARDAV_ASSERT(offsetof(AudioFrameInfo, timestamp_us) == 16);
LIBBOARDAV_ASSERT(offsetof(AudioFrameInfo, len) == 24);

/*
 * Takes the next block from the microphone, at most `capacity` bytes (1280, that is 40 ms). Result: 0 or more
 * with *info filled, `seq` excepted; `info->len` is 0 when none came in time. Negative: the microphone has
 * failed, and *info is undefined.
 *
 * What a result costs: here an empty block counts like a failure, unlike with video. Each makes the caller
 * pause for 100 ms, and the 262nd without a block between them ends the process. So the microphone has to
 * bring blocks as long as the board runs, with silence in them if need be: stop_stream does not concern it,
 * nor does the camera's being bound or not.
 */
int32_t get_audio_stream(void *payload, uint32_t capacity, AudioFrameInfo *info);

/*
 * Plays `length` bytes. Blocks until the speaker has room, that is about as long as the sound lasts, and no
 * longer than the board runs. Sound that is played while the speaker is disabled takes as long and is not
 * heard. Result: 0, or negative when not all of it was played.
 */
int32_t play_sound(const void *bytes, int32_t length);

/*
 * Speaker amplifier and acoustic echo cancellation. disable_aec and disable_speaker are also called from
 * a signal handler (SIGALRM) and must be async-signal-safe.
 */
int32_t enable_speaker(void);
int32_t disable_speaker(void);
int32_t enable_aec(void);
int32_t disable_aec(void);

/* Speaker volume: a given one (0 to 100), the one for talk-back, the one for everything else. */
int32_t set_speaker_vol(int32_t volume);
int32_t set_speaker_talking_vol(void);
int32_t set_speaker_vol_default(void);

/* ---- picture ---- */

/* Wide dynamic range; flipped upside down (and back to normal); mains frequency in Hz for anti-flicker. */
int32_t enable_wdr(void);
int32_t disable_wdr(void);
int32_t set_video_Vflip(void);
int32_t set_video_normal(void);
int32_t set_video_flicker(int32_t hz);

/*
 * Day/night mode of the image signal processor: 0 day, 1 night. Setting it may block while it switches: it is
 * called on a thread of its own, and other calls must not have to wait for it. Result of set_isp_dnmode: 0;
 * anything else counts as a failure, and the call is tried once more after 10 s.
 */
int32_t set_isp_dnmode(int32_t mode);
int32_t get_isp_dnmode(int32_t *mode);

/*
 * Exposure and white balance, as records that the board defines; clients of the daemon get the bytes as they
 * are. Records to fill are aligned for 64-bit words, the one to set for 32-bit words.
 */
#define ISP_EV_BYTES 28
#define ISP_WB_BYTES 32
int32_t get_isp_ev(void *record);
int32_t get_isp_wb(void *record);
int32_t set_isp_wb(const void *record);

/* The infrared lamp as commands see it: 0 off, 1 on. */
int32_t control_ir_lamp(int32_t value);

/* ---- overlay ---- */

/* Shows and hides the time stamp. */
int32_t enable_osd(void);
int32_t disable_osd(void);

/* Redraws the time stamp, in the layout of the region: 0 US, 1 IN, 2 HW, 3 any other. Called twice a second.
 */
int32_t osd_update_timestamp(int32_t region_code);

/* Draws the tracking rectangle; four numbers that the board defines. osd_destory_track removes it. */
int32_t osd_display_track(int32_t a, int32_t b, int32_t c, int32_t d);
int32_t osd_destory_track(void);

/* ---- detection on the board ---- */

#define MD_SENSE_PICTURE 4
#define MD_SENSE_REGIONS 32

/*
 * Motion sensitivity. With `count` MD_SENSE_REGIONS, `value` is the address of so many int32_t, one for each
 * region; with MD_SENSE_PICTURE it is the sensitivity itself, for the whole picture. (One call for both is
 * how boards have it.)
 *
 * The picture has 8 x 4 regions, row by row from the upper left; a motion belongs to the region that its
 * middle is in. 0 and less switch a region off; 1 is the least, 5 the most sensitive one, more counts as 5; 3
 * unless it was set. At 3 a motion has to cover 0.4 % of the picture, at each level more half of that.
 */
int32_t set_md_sense(intptr_t value, int32_t count);

/* Motion detection on (at first) and off. Tracking (libalgo_kit.h) is another matter. */
int32_t start_md(void);
int32_t stop_md(void);

/*
 * Sound level above which a sound is abnormal: decibels below full scale, plus 100. 100 is the level of a
 * full-scale square wave, 97 of a full-scale sine; a voice near the microphone has some 80. 90 unless it was
 * set; 0 and less switch the detector off.
 */
int32_t set_lsd_threshold(int32_t threshold);

/* Everything else: an AV command that the daemon does not know, with its payload (libav_cmd.h). */
int32_t set_board_param(uint32_t code, const void *payload);

#undef LIBBOARDAV_ASSERT

#ifdef __cplusplus
}
#endif

#endif
