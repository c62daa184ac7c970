/*
 * What boardd and its clients say to each other about the picture: operations 0x10 to 0x3f of the control
 * socket (protocol.h), and their records. docs/formats/board.md has every byte and a worked example.
 *
 * The controls change the board at once and are answered at once. What takes time, a snapshot or the wait for
 * the next raw frame, is asked for on connections of its own, so that it never stands before a control in a
 * queue; its bytes come as a file in memory that travels with the reply.
 */
#ifndef PLATFORM_BOARD_PICTURE_PROTOCOL_H
#define PLATFORM_BOARD_PICTURE_PROTOCOL_H

#include "libboardav.h"

#include <stddef.h>
#include <stdint.h>

namespace board {

/* `value` and payload of the request; payload of the reply. The owner's, but for the last two. Where `value`
 * is a switch it is 0 or 1. */
enum PictureOp : uint32_t {
    op_streaming = 0x10,       /* value: switch. Off, the encoders rest and send nothing */
    op_flip = 0x11,            /* value: switch */
    op_overlay = 0x12,         /* value: switch. The time stamp */
    op_timestamp = 0x13,       /* value: region code. The time stamp is the present time from now on */
    op_wdr = 0x14,             /* value: switch */
    op_flicker = 0x15,         /* value: mains frequency, Hz; any */
    op_set_day_night = 0x16,   /* value: 0 day, 1 night */
    op_get_day_night = 0x17,   /* reply payload: int32_t, 0 day, 1 night */
    op_get_exposure = 0x18,    /* reply payload: ExposureRecord */
    op_get_white = 0x19,       /* reply payload: WhiteBalanceRecord */
    op_set_white = 0x1a,       /* payload: WhiteBalanceRecord */
    op_lamp = 0x1b,            /* value: switch */
    op_bitrate = 0x1c,         /* payload: BitrateControl */
    op_track = 0x1d,           /* payload: TrackRecord */
    op_track_end = 0x1e,       /* value: 0 */
    op_bound = 0x1f,           /* value: switch */
    op_motion_regions = 0x20,  /* payload: 32 int32_t */
    op_motion_sense = 0x21,    /* value: sensitivity of the whole picture */
    op_motion = 0x22,          /* value: switch */
    op_sound_threshold = 0x23, /* value: threshold */
    op_board_param = 0x24,     /* value: code, as the bits of an int32_t */
    op_jpeg_snapshot = 0x30, /* value: capacity, bytes; reply payload: VideoFrameInfo, with a file. Anyone */
    op_raw_frame = 0x31,     /* value: bind status; reply payload: RawFrameInfo, with a file. Anyone */
};

/* Raw frames, and the coordinates of TrackRecord. */
constexpr int32_t raw_width = 640;
constexpr int32_t raw_height = 384;
constexpr uint32_t raw_frame_bytes = 368640; /* I420 */
static_assert(raw_frame_bytes == raw_width * raw_height * 3 / 2);

constexpr size_t motion_regions = 32;

/* What get_isp_ev brings. 28 bytes. */
struct ExposureRecord {
    uint32_t exposure_us; /*  0: exposure time */
    uint32_t gain_milli;  /*  4: sensor gain, 1000 is none */
    uint32_t luma_mean;   /*  8: mean luma of the last frame, measured, 0 to 255; 0 before the first */
    uint32_t luma_target; /* 12: what the automatic exposure aims at */
    int32_t flicker_hz;   /* 16: as set_video_flicker had it */
    int32_t day_night;    /* 20: as set_isp_dnmode had it */
    uint32_t flags;       /* 24: bit 0 wide dynamic range, bit 1 infrared lamp */
};
constexpr uint32_t exposure_flag_wdr = 1;
constexpr uint32_t exposure_flag_lamp = 2;

static_assert(sizeof(ExposureRecord) == ISP_EV_BYTES && offsetof(ExposureRecord, flags) == 24);

enum WhiteBalanceMode : uint32_t {
    white_auto = 0,  /* neutral here; the gains mean nothing when set, and come back as 1024 */
    white_fixed = 1, /* the gains count */
};

/* What get_isp_wb brings and set_isp_wb takes. 32 bytes. */
struct WhiteBalanceRecord {
    uint32_t mode;        /*  0: WhiteBalanceMode */
    uint32_t red;         /*  4: gain, 1024 is 1; white_gain_min to white_gain_max */
    uint32_t green;       /*  8 */
    uint32_t blue;        /* 12 */
    uint32_t reserved[4]; /* 16: 0 */
};
constexpr uint32_t white_gain_one = 1024;
constexpr uint32_t white_gain_min = 256;
constexpr uint32_t white_gain_max = 4096;

static_assert(sizeof(WhiteBalanceRecord) == ISP_WB_BYTES && offsetof(WhiteBalanceRecord, reserved) == 16);

/* The tracking rectangle, in pixels of a raw frame, whose 640 x 384 span the whole picture. Parts outside are
 * cut off. 16 bytes. */
struct TrackRecord {
    int32_t x;      /*  0: left edge */
    int32_t y;      /*  4: upper edge */
    int32_t width;  /*  8: more than 0 */
    int32_t height; /* 12: more than 0 */
};

static_assert(sizeof(TrackRecord) == 16 && offsetof(TrackRecord, height) == 12);

} // namespace board

#endif
