/*
 * What the camera is in: the light, the thing that moves, and where the camera looks; with the filter and the
 * lamp that are the board's own. Who sets something, and when, does not matter to the picture: each frame is
 * made of one moment of it.
 *
 * Threads: any. Times are taken here, microseconds of CLOCK_MONOTONIC.
 */
#ifndef PLATFORM_BOARD_BOARDD_SCENE_WORLD_H
#define PLATFORM_BOARD_BOARDD_SCENE_WORLD_H

#include "board/boardd/scene/eye.h"
#include "board/boardd/scene/moving_object.h"
#include "board/boardd/scene/sky.h"

#include <mutex>
#include <optional>

namespace board {

/* The thing in one frame: hundredths of a degree. */
struct ObjectPlace {
    int32_t pan;
    int32_t tilt;
    int32_t size;
};

/* All that a frame needs to know. */
struct Moment {
    double brightness; /* as in Sight */
    double gain;
    ViewRecord view;
    std::optional<ObjectPlace> object;
    bool lamp;        /* is on, by either way */
    uint32_t changes; /* what changes() was */
};

class World {
  public:
    World();

    /* ---- the board's ---- */

    void set_filter(bool in_front);

    /* `record` is sound. */
    void set_light(const LightRecord &record);

    /* The switch that libboardav.h has for the lamp; the lamp is on when either says so. */
    void set_lamp_switch(bool on);

    /* Filter and light channel as at first. */
    void reset_board();

    /* ---- the world's; records are sound ---- */

    /* Angles beyond the stops become the stops. Where it looks then. */
    ViewRecord move_view_by(const ViewRecord &move);
    ViewRecord move_view_to(const ViewRecord &place);
    void set_sky(const SceneLightRecord &record);
    void set_noise(uint32_t percent);
    void set_object(const SceneObjectRecord &record);

    /* ---- to look at ---- */

    Moment moment() const;
    LightSeenRecord seen() const;
    SceneStateRecord state() const;
    LightRecord light() const; /* the channel as it was set */

    /* How often the view has changed; wraps. Whoever looks for motion begins anew then. */
    uint32_t view_moves() const;

    /* How often anything was set that shows at once; wraps. */
    uint32_t changes() const;

  private:
    Optics optics() const;
    int32_t lamp() const;
    Sight look(uint64_t now_us) const;
    LightSeenRecord seen_at(uint64_t now_us) const;
    ViewRecord set_view(int64_t pan, int64_t tilt);
    template <typename Change>
    void leap(Change change);

    mutable std::mutex mutex_; /* guards all of it */
    Sky sky_;
    Eye eye_;
    bool filter_ = true;
    bool lamp_switch_ = false;
    LightRecord light_;
    ViewRecord view_ = {0, 0};
    SceneObjectRecord object_ = object_default;
    uint64_t object_since_us_;
    uint32_t view_moves_ = 0;
    uint32_t changes_ = 0;
};

} // namespace board

#endif
