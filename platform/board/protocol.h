/*
 * What boardd and its clients say to each other. docs/formats/board.md has every byte and a worked example.
 *
 * Two kinds of paths lead to boardd:
 *   - the control socket "/run/boardd", AF_UNIX SOCK_SEQPACKET: one request record per packet, answered by
 * one reply record with the same id;
 *   - one shared-buffer channel per encoder, "/run/boardd_venc0" and "/run/boardd_venc1": each buffer is one
 *     VencRecord, with the access unit behind it when there is one; one for the microphone,
 *     "/run/boardd_mic": each buffer is one MicRecord, with a block of sound behind it; and one for what the
 *     analytics find, "/run/boardd_algo" (analytics_protocol.h).
 *
 * All records are little-endian with the widths given. Each side treats what it receives as hostile: a record
 * of another magic, size or range is refused.
 *
 * The first connection that hands over a profile or initialises the board owns it until that connection ends;
 * the board then goes idle, as if its power had been cut.
 */
#ifndef PLATFORM_BOARD_PROTOCOL_H
#define PLATFORM_BOARD_PROTOCOL_H

#include "board/picture_protocol.h"
#include "board/scene_protocol.h"
#include "libboardav.h"

#include <stddef.h>
#include <stdint.h>

namespace board {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "records are copied as they stand in memory");

constexpr char control_path[] = "/run/boardd";
constexpr int32_t venc_channels = 2;
constexpr const char *venc_paths[venc_channels] = {"/run/boardd_venc0", "/run/boardd_venc1"};

/* ---- control socket ---- */

constexpr uint32_t control_magic = 0x31445242;     /* the bytes "BRD1" */
constexpr size_t control_packet_max_bytes = 16384; /* the largest record, either way */
constexpr uint32_t control_timeout_ms = 2000;      /* a request that has no reply by then has failed, ... */
constexpr uint32_t init_timeout_ms = 5000; /* ... but op_system_init may start a camera or load a machine */

/* What is asked; 0x10 to 0x3f are in picture_protocol.h, 0x50 to 0x5f in scene_protocol.h, 0x60 to 0x6f in
 * analytics_protocol.h. `value` and payload of the request; result and payload of the reply where there is
 * more than success. */
enum ControlOp : uint32_t {
    op_system_init = 1, /* value: bind_status. Answered once frames are on their way, or none will come */
    op_system_exit =
        2, /* never answered; nothing but op_sensor_class succeeds on this connection afterwards */
    op_set_profile = 3,      /* payload: VencConfig */
    op_key_frame = 4,        /* value: channel, or -1 for all */
    op_sensor_class = 5,     /* reply payload: int32_t flag_300 */
    op_play = 0x40,          /* payload: PlayRecord. Answered when the speaker has taken all of it */
    op_speaker = 0x41,       /* value: 1 on, 0 off */
    op_aec = 0x42,           /* value: 1 on, 0 off */
    op_volume = 0x43,        /* value: 0 to 100 */
    op_volume_preset = 0x44, /* value: 0 the default, 1 the one for talk-back */
    op_hush = 0x45,          /* value: HushBits, what goes off. Never answered */
    op_status = 0x100,       /* reply payload: JSON text without a terminating zero */
    op_fault = 0x101,        /* value: channel, or -1 for all; payload: FaultRecord */
};

/* In front of every request; the payload is the rest of the packet. 16 bytes. */
struct ControlRequest {
    uint32_t magic; /*  0: control_magic */
    uint32_t op;    /*  4: ControlOp */
    uint32_t id;    /*  8: chosen by the client, comes back in the reply */
    int32_t value;  /* 12: as the operation has it, else 0 */
};

/* In front of every reply. 16 bytes. */
struct ControlReply {
    uint32_t magic; /*  0: control_magic */
    uint32_t op;    /*  4: of the request */
    uint32_t id;    /*  8: of the request */
    int32_t result; /* 12: 0 or more: done; negative: a negative errno value, or what a fault asks for */
};

/* What op_play plays: up to 40 ms. 1288 bytes, whatever `bytes` is. */
constexpr uint32_t play_max_bytes = 1280;
struct PlayRecord {
    uint32_t bytes;              /* 0: 2 to play_max_bytes, even */
    uint32_t reserved;           /* 4: 0 */
    uint8_t pcm[play_max_bytes]; /* 8: 16-bit little-endian, 16 kHz, mono; the rest is not looked at */
};

static_assert(sizeof(PlayRecord) == 1288 && offsetof(PlayRecord, pcm) == 8);

enum HushBits : int32_t {
    hush_speaker = 1,
    hush_aec = 2,
};

static_assert(sizeof(ControlRequest) == 16 && offsetof(ControlRequest, value) == 12);
static_assert(sizeof(ControlReply) == 16 && offsetof(ControlReply, result) == 12);

/* Misbehaviour on demand. */
enum FaultKind : uint32_t {
    fault_clear = 0,  /* ends every fault of the channel; with channel -1 every fault there is */
    fault_fetch = 1,  /* the next `count` fetches (0: all, until cleared) answer `result`: -1, -2, or 0 for an
                         empty frame; what is encoded meanwhile is lost */
    fault_stall = 2,  /* no frame comes out, until cleared */
    fault_init = 3,   /* op_system_init answers `result`, negative, until cleared; channel not used */
    fault_sensor = 4, /* op_sensor_class answers `result`, as above */
    fault_profile = 5, /* op_set_profile answers `result`, as above */
};

/* In place of a channel, where an operation on faults takes the microphone: fault_fetch with -1 or 0,
 * fault_stall, fault_clear. Channel -1 means both encoder channels, and with fault_clear the microphone too.
 */
constexpr int32_t mic_fault_channel = 0x10;

/* 16 bytes. */
struct FaultRecord {
    uint32_t kind;     /*  0: FaultKind */
    int32_t result;    /*  4: negative, or 0 with fault_fetch; 0 where it means nothing */
    uint32_t count;    /*  8: with fault_fetch; else 0 */
    uint32_t reserved; /* 12: 0 */
};

static_assert(sizeof(FaultRecord) == 16 && offsetof(FaultRecord, count) == 8);

/* ---- encoder channels ---- */

constexpr uint32_t venc_magic = 0x31434e56;             /* the bytes "VNC1" */
constexpr uint32_t venc_frame_max_bytes = 512U * 1024U; /* the largest access unit that is sent */
constexpr uint32_t venc_window = 32;                    /* frames that wait for get_video_stream */
constexpr uint64_t venc_fetch_within_us = 2000000;      /* a frame not fetched by then counts as lost */

enum VencRecordKind : uint32_t {
    venc_frame = 1,   /* an encoded frame: info.len bytes follow */
    venc_answer = 2,  /* no frame: the next `count` fetches (0: all) answer `result` at once, until the next
                         venc_frame record. After the last of them the client sends AnswersUsedUp. A record
                         with the serial of the one before it is a repetition and changes nothing */
    venc_silence = 3, /* no frame until the next venc_frame record: answers end, fetches wait in vain */
};

/* In front of every access unit, and of every block from the microphone. 64 bytes. */
template <typename Info>
struct StreamRecord {
    uint32_t magic;        /*  0: venc_magic, mic_magic */
    uint32_t kind;         /*  4: VencRecordKind */
    int32_t result;        /*  8: venc_answer: -2, -1 or 0; else 0 */
    uint32_t count;        /* 12: venc_answer; else 0 */
    uint64_t published_us; /* 16: when boardd sent it, microseconds of CLOCK_MONOTONIC */
    uint32_t lost_before;  /* 24: 1 when frames before this one could not even be sent */
    uint32_t serial;       /* 28: venc_answer: which one, from 1; else 0 */
    Info info;             /* 32: venc_frame; else zeros */
};

using VencRecord = StreamRecord<VideoFrameInfo>;

static_assert(sizeof(VencRecord) == 64 && offsetof(VencRecord, published_us) == 16);
static_assert(offsetof(VencRecord, serial) == 28 && offsetof(VencRecord, info) == 32);

/* From the client to boardd, as a plain message of the channel. 8 bytes. */
struct AnswersUsedUp {
    uint32_t magic;  /*  0: the channel's */
    uint32_t serial; /*  4: of the venc_answer record */
};

static_assert(sizeof(AnswersUsedUp) == 8 && offsetof(AnswersUsedUp, serial) == 4);

/* ---- microphone channel ---- */

constexpr char mic_path[] = "/run/boardd_mic";
constexpr uint32_t mic_magic = 0x3143494d;        /* the bytes "MIC1" */
constexpr uint32_t mic_block_bytes = 1280;        /* every block: 40 ms */
constexpr uint32_t mic_window = 32;               /* blocks that wait for get_audio_stream */
constexpr uint64_t mic_fetch_within_us = 1000000; /* a block not fetched by then is dropped: late sound is
                                                     worse than none */

using MicRecord = StreamRecord<AudioFrameInfo>;

static_assert(sizeof(MicRecord) == 64 && offsetof(MicRecord, info) == 32);

} // namespace board

#endif
