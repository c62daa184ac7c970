/*
 * What clients may ask about the picture and the board's detectors (picture_protocol.h): checks each request
 * and changes the board. Snapshots are not here; requests.cpp has them, since they are answered later.
 *
 * Threads: the loop thread.
 */
#ifndef PLATFORM_BOARD_BOARDD_PICTURE_CONTROLS_H
#define PLATFORM_BOARD_BOARDD_PICTURE_CONTROLS_H

#include "board/boardd/board.h"
#include "board/boardd/picture/jpeg.h"
#include "board/picture_protocol.h"

#include <optional>
#include <span>
#include <vector>

namespace board {

/* What has been told to the board and is kept for those who ask: the detectors' settings, and things that
 * this board can do nothing with. */
struct Notes {
    std::optional<int32_t> bound;           /* switch_ch5_res */
    std::optional<BitrateControl> bitrate;  /* control_bitrate, the last that was accepted */
    bool motion = true;                     /* start_md, stop_md */
    std::vector<int32_t> motion_sense;      /* none, one for the whole picture, or one for each region */
    std::optional<int32_t> sound_threshold; /* set_lsd_threshold */
    uint32_t board_params = 0;              /* set_board_param: how many, ... */
    uint32_t last_board_param = 0;          /* ... and the last one's code */
};

class PictureControls {
  public:
    explicit PictureControls(Board &board) : board_(board) {}

    struct Reply {
        int32_t result; /* 0, or a negative errno value */
        Bytes payload;  /* empty with an error */
    };

    /* The payload that the operation takes, in bytes; nothing when it is none of the picture's. */
    static std::optional<size_t> payload_bytes(uint32_t op);

    /* `payload` is of that size. -ENODEV while the board is idle, -EINVAL for values out of range. */
    Reply perform(uint32_t op, int32_t value, std::span<const uint8_t> payload);

    /* The owner has gone: as if the power had been cut. */
    void reset() { notes_ = Notes(); }

    const Notes &notes() const { return notes_; }

  private:
    using Payload = std::span<const uint8_t>;
    struct Row {
        uint32_t op;
        size_t payload_bytes;
        Reply (PictureControls::*perform)(int32_t value, Payload payload);
    };
    static const Row rows[];
    static const Row *row_of(uint32_t op);

    template <auto Member>
    Reply set_switch(int32_t value, Payload payload);
    Reply set_streaming(int32_t value, Payload payload);
    Reply set_timestamp(int32_t value, Payload payload);
    Reply set_flicker(int32_t value, Payload payload);
    Reply get_day_night(int32_t value, Payload payload);
    Reply get_exposure(int32_t value, Payload payload);
    Reply get_white(int32_t value, Payload payload);
    Reply set_white(int32_t value, Payload payload);
    Reply set_bitrate(int32_t value, Payload payload);
    Reply set_track(int32_t value, Payload payload);
    Reply end_track(int32_t value, Payload payload);
    Reply set_bound(int32_t value, Payload payload);
    Reply set_motion_regions(int32_t value, Payload payload);
    Reply set_motion_sense(int32_t value, Payload payload);
    Reply set_motion(int32_t value, Payload payload);
    Reply set_sound_threshold(int32_t value, Payload payload);
    Reply note_board_param(int32_t value, Payload payload);

    Board &board_;
    Notes notes_;
};

} // namespace board

#endif
