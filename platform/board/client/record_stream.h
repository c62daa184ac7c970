/*
 * Records with a payload from one channel of boardd (protocol.h), as libboardav fetches them: one after the
 * other, with a bounded wait, told apart from the answers that stand for a failure.
 *
 * Where boardd misbehaves on demand it sends a venc_answer record in place of frames, and the answers are
 * counted here, since only this side knows of each fetch.
 *
 * Threads: a stream belongs to one thread at a time.
 */
#ifndef PLATFORM_BOARD_CLIENT_RECORD_STREAM_H
#define PLATFORM_BOARD_CLIENT_RECORD_STREAM_H

#include "board/protocol.h"
#include "libshbf_receiver.h"

namespace board {

/* How long a fetch waits at most. */
constexpr uint64_t fetch_wait_us = 90000;

/* What goes over a channel. */
struct RecordKind {
    const char *path;
    uint32_t magic;
    uint32_t window;          /* records that wait for a fetch */
    uint64_t fetch_within_us; /* one that has waited for longer is dropped, and counts as lost */
    size_t length_at;         /* where in its info a record says how long its payload is */
};

/* The part of a record that is the channel's own. */
struct RecordInfo {
    uint8_t bytes[32];
};

/* Zero before record_stream_open. */
struct RecordStream {
    RecordKind kind;
    shbf_rcv_t *receiver;
    shbf_frame_t frame;              /* the record in hand, while `holding` */
    StreamRecord<RecordInfo> record; /* its copy, since shared memory is read once */
    bool holding;
    bool lost;             /* frames were lost; for the caller to clear */
    uint32_t skipped;      /* what the channel had skipped at the last record */
    bool answering;        /* fetches are answered as `answer` says */
    uint32_t answers_left; /* 0: no end */
    StreamRecord<RecordInfo> answer;
};

/* Attaches, unless that is done. False when the channel is not there. */
bool record_stream_open(RecordStream &stream, const RecordKind &kind);

/* Detaches; a stream that is not open stays as it is. */
void record_stream_close(RecordStream &stream);

enum class Fetched {
    frame,  /* a record is in hand; it stays there, for this and further fetches, until it is let go */
    nothing /* *result is what the caller's caller gets: 0 when none came in time, negative for a failure */
};

/* Waits up to fetch_wait_us. A channel that fails ends the link (link.h). */
Fetched record_stream_fetch(RecordStream &stream, int32_t *result);

/* Of the record in hand: its payload, and how long that is. Checked against what was received. */
const uint8_t *record_stream_payload(const RecordStream &stream);
uint32_t record_stream_length(const RecordStream &stream);

/* Done with the record in hand. */
void record_stream_let_go(RecordStream &stream);

} // namespace board

#endif
