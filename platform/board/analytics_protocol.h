/*
 * What boardd and libalgo_kit say to each other: operations 0x60 to 0x62 of the control socket (protocol.h),
 * and the channel of what has been detected. docs/formats/board.md has every byte and a worked example.
 *
 * The first connection that asks for one of the operations has the analytics until it ends; the detectors
 * then rest, and all is as at first. It need not own the board. Others get -EBUSY.
 */
#ifndef PLATFORM_BOARD_ANALYTICS_PROTOCOL_H
#define PLATFORM_BOARD_ANALYTICS_PROTOCOL_H

#include "board/protocol.h"
#include "libalgo_kit.h"

#include <stddef.h>
#include <stdint.h>

namespace board {

/* `value` and payload of the request. Replies have no payload. */
enum AlgoOp : uint32_t {
    op_algo_detect = 0x60, /* value: 1 motion and sound are told, 0 not (at first) */
    op_algo_track = 0x61,  /* value: 1 directions are told, 0 not (at first) */
    op_algo_param = 0x62,  /* value: which parameter; payload: int32_t. Parameter 0: 0 (at first) or 1 */
};

constexpr int32_t algo_param_sensitivity = 0;
constexpr int32_t algo_sensitivity_normal = 0;
constexpr int32_t algo_sensitivity_lowest = 1;

/* ---- the channel ---- */

constexpr char algo_path[] = "/run/boardd_algo";
constexpr uint32_t algo_magic = 0x31474c41;       /* the bytes "ALG1" */
constexpr uint32_t algo_window = 16;              /* records that wait for the library's thread */
constexpr uint32_t algo_text_max_bytes = 96;      /* of an event's text, its NUL included */
constexpr uint64_t algo_track_within_us = 500000; /* a direction that is older leads nowhere: dropped */

enum AlgoWhat : uint32_t {
    algo_event = 1,     /* payload: the text, with its NUL */
    algo_direction = 2, /* payload: TrackDirection */
};

/* What an AlgoRecord says about its payload. 32 bytes. */
struct AlgoInfo {
    uint32_t what;         /*  0: AlgoWhat */
    uint32_t len;          /*  4: bytes of payload */
    uint64_t timestamp_us; /*  8: of the picture, or of the end of the sound; CLOCK_MONOTONIC */
    uint32_t reserved[4];  /* 16: 0 */
};

static_assert(sizeof(AlgoInfo) == 32 && offsetof(AlgoInfo, timestamp_us) == 8);

/* Each buffer is one record of kind venc_frame, with its payload behind it; there are no others. */
using AlgoRecord = StreamRecord<AlgoInfo>;

static_assert(sizeof(AlgoRecord) == 64 && offsetof(AlgoRecord, info) == 32);
static_assert(sizeof(TrackDirection) == 12 && offsetof(TrackDirection, vertical) == 4);

} // namespace board

#endif
