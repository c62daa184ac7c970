/*
 * What boardd and its clients say to each other about light, about where the camera looks, and about the test
 * scene: operations 0x50 to 0x5f of the control socket (protocol.h), and their records. docs/formats/board.md
 * has every byte and a worked example.
 *
 * Anyone may ask, on any connection, whether the board has power or not. The filter and the light channel are
 * the board's: they are as at first when its owner shuts the board down, and again when it goes, for until
 * its end other threads of it may switch them. View and scene are the world's: they stay.
 *
 * Angles are in hundredths of a degree: pan grows to the right, tilt upwards. Light is in thousandths of a
 * lux.
 */
#ifndef PLATFORM_BOARD_SCENE_PROTOCOL_H
#define PLATFORM_BOARD_SCENE_PROTOCOL_H

#include <stddef.h>
#include <stdint.h>

namespace board {

/* `value` and payload of the request; payload of the reply. */
enum SceneOp : uint32_t {
    op_ircut = 0x50,       /* value: 1 the filter in front of the sensor (at first), 0 out of the way */
    op_light = 0x51,       /* payload: LightRecord */
    op_light_seen = 0x52,  /* reply payload: LightSeenRecord */
    op_view = 0x58,        /* value: 0 a move by, 1 a move to; payload: ViewRecord. Reply payload: ViewRecord,
                              where it looks now */
    op_scene_light = 0x59, /* payload: SceneLightRecord */
    op_scene_get = 0x5a,   /* reply payload: SceneStateRecord */
    op_scene_noise = 0x5b, /* value: how much the light flickers, percent either way, 0 to 100 */
    op_scene_object = 0x5c, /* payload: SceneObjectRecord */
    op_scene_burst = 0x5d,  /* payload: BurstRecord. -ENODEV without power */
};

/* ---- filter and light ---- */

constexpr int32_t light_channel_lamp = 1; /* the infrared lamp; there are no others */
constexpr int32_t light_brightness_max = 10000;
constexpr int32_t light_unchanged = -1;

/* What becomes of a light channel. 12 bytes. */
struct LightRecord {
    int32_t channel;    /* 0: light_channel_lamp */
    int32_t enabled;    /* 4: 1, 0, or light_unchanged */
    int32_t brightness; /* 8: 0 to light_brightness_max (at first), or light_unchanged */
};

static_assert(sizeof(LightRecord) == 12 && offsetof(LightRecord, brightness) == 8);

/* What the sensor sees, whatever its exposure is. 16 bytes. */
struct LightSeenRecord {
    uint32_t seen_mlux;  /*  0: mean brightness of the picture divided by exposure and gain: the light of the
                            world, through the filter or not, and the lamp's. It takes some tenths of a second
                            to follow a leap */
    uint32_t gain_milli; /*  4: sensor gain, 1000 is none */
    int32_t filter;      /*  8: 1 in front of the sensor, 0 out of the way */
    int32_t lamp;        /* 12: brightness of the lamp, 0 when it is off */
};

static_assert(sizeof(LightSeenRecord) == 16 && offsetof(LightSeenRecord, lamp) == 12);

/* ---- view ---- */

constexpr int32_t view_pan_max = 160 * 100;          /* either way */
constexpr int32_t view_tilt_max = 30 * 100;          /* either way */
constexpr int32_t view_field_horizontal = 110 * 100; /* what the picture's width shows */

/* An angle, or a move. Moves end at the stops. 8 bytes. */
struct ViewRecord {
    int32_t pan;  /* 0 */
    int32_t tilt; /* 4 */
};

static_assert(sizeof(ViewRecord) == 8 && offsetof(ViewRecord, tilt) == 4);

/* ---- scene ---- */

constexpr uint32_t scene_mlux_max = 200'000'000; /* the sun at noon, and then some */
constexpr uint32_t scene_period_min_ms = 1000;
constexpr uint32_t scene_period_max_ms = 86'400'000;

enum SceneLightMode : uint32_t {
    scene_constant = 0, /* low_mlux means nothing, period_ms means nothing */
    scene_ramp = 1,     /* from what it is to high_mlux within period_ms, then constant */
    scene_cycle = 2,    /* from high_mlux to low_mlux and back within period_ms, again and again */
};

/* The light of the world. Changes are even in logarithms, as eyes see them: a cycle is a sine. 16 bytes. */
struct SceneLightRecord {
    uint32_t mode;      /*  0: SceneLightMode */
    uint32_t high_mlux; /*  4: 0 to scene_mlux_max */
    uint32_t low_mlux;  /*  8: scene_cycle: 0 to high_mlux; else 0 */
    uint32_t period_ms; /* 12: scene_period_min_ms to scene_period_max_ms; scene_constant: 0 */
};

static_assert(sizeof(SceneLightRecord) == 16 && offsetof(SceneLightRecord, period_ms) == 12);

enum ScenePath : int32_t {
    path_swing = 0, /* from start to start + span and back, again and again */
    path_round = 1, /* round the camera */
};

constexpr int32_t object_speed_max = 360 * 100;
constexpr int32_t object_size_min = 1 * 100;
constexpr int32_t object_size_max = 40 * 100;

/* The thing that moves through the scene. 32 bytes. */
struct SceneObjectRecord {
    int32_t on;   /*  0: 1 or 0; when 0 the rest is kept for the next time and judged all the same */
    int32_t path; /*  4: ScenePath */
    int32_t
        speed; /*  8: a second; 0 stands still; path_round: negative to the left. At most object_speed_max */
    int32_t size;     /* 12: its height, object_size_min to object_size_max; it is half as wide */
    int32_t pan;      /* 16: where it starts, its middle: -18000 to 18000 */
    int32_t tilt;     /* 20: the same: -6000 to 6000 */
    int32_t span;     /* 24: path_swing: how far it goes, 0 to 36000; else 0 */
    int32_t reserved; /* 28: 0 */
};

static_assert(sizeof(SceneObjectRecord) == 32 && offsetof(SceneObjectRecord, span) == 24);

constexpr int32_t burst_level_min_db = -60;
constexpr uint32_t burst_duration_max_ms = 60'000;

/* A noise that the microphone hears, besides what it hears anyhow. 8 bytes. */
struct BurstRecord {
    int32_t level_db;     /* 0: of its mean power: burst_level_min_db to 0, where 0 is full scale */
    uint32_t duration_ms; /* 4: 1 to burst_duration_max_ms; a new burst takes the place of one that sounds */
};

static_assert(sizeof(BurstRecord) == 8 && offsetof(BurstRecord, duration_ms) == 4);

/* The scene at this moment, and how it was set. 88 bytes. */
struct SceneStateRecord {
    uint32_t ambient_mlux;    /*  0: light of the world, without lamp and flicker */
    uint32_t noise_percent;   /*  4 */
    SceneLightRecord light;   /*  8: as it was set */
    ViewRecord view;          /* 24 */
    uint32_t view_moves;      /* 32: how often the view has changed; wraps */
    int32_t object_pan;       /* 36: where the object is, -18000 to 18000, whether it is there or not */
    SceneObjectRecord object; /* 40: as it was set */
    LightSeenRecord seen;     /* 72 */
};

static_assert(sizeof(SceneStateRecord) == 88 && offsetof(SceneStateRecord, view) == 24);
static_assert(offsetof(SceneStateRecord, object) == 40 && offsetof(SceneStateRecord, seen) == 72);

} // namespace board

#endif
