/*
 * How the picture is to look: what the controls of libboardav.h have set. A plain value, copied from the loop
 * thread, which changes it, to the capture's thread, which paints by it (picture.h).
 *
 * The initial values are those of a board that has just got its power.
 */
#ifndef PLATFORM_BOARD_BOARDD_PICTURE_SETTINGS_H
#define PLATFORM_BOARD_BOARDD_PICTURE_SETTINGS_H

#include "board/picture_protocol.h"

#include <ctime>
#include <optional>

namespace board {

/* The mains frequency that the test scene's light flickers with, and that a fresh board expects. */
constexpr int32_t scene_mains_hz = 50;

/* The last osd_update_timestamp. */
struct Stamp {
    int32_t region; /* 0 US, 1 IN, 2 HW, others */
    std::time_t time;
};

struct PictureSettings {
    bool flip = false;   /* rows from bottom to top */
    bool overlay = true; /* the time stamp is shown */
    bool wdr = false;    /* shadows are lifted */
    bool night = false;  /* no colour */
    bool lamp = false;   /* counts at night only: the sun is brighter */
    int32_t flicker_hz = scene_mains_hz;
    WhiteBalanceRecord white = {white_auto, white_gain_one, white_gain_one, white_gain_one, {}};
    std::optional<TrackRecord> track; /* it has an area */
    std::optional<Stamp> stamp;       /* none before the first update */
};

} // namespace board

#endif
