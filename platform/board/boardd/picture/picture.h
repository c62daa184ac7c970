/*
 * The image signal processor: makes each captured frame look as the settings say, before the time stamp is
 * written into it and encoders, snapshots and raw frames get it.
 *
 *     (test scene) -> tone -> colour -> upside down -> tracking rectangle -> (time stamp)
 *
 * All of it is done in place, with tables that are worked out when the settings change; what is off costs
 * nothing. Time stamp and rectangle stay upright when the picture is flipped.
 *
 * Threads: settings, changes and exposure on any; from begin_frame on the capture's thread, one capture at a
 * time.
 */
#ifndef PLATFORM_BOARD_BOARDD_PICTURE_PICTURE_H
#define PLATFORM_BOARD_BOARDD_PICTURE_PICTURE_H

#include "board/boardd/picture/effects.h"
#include "board/boardd/picture/settings.h"
#include "board/boardd/scene/scene.h"
#include "board/boardd/scene/world.h"

#include <atomic>
#include <mutex>
#include <string>

namespace board {

class Picture {
  public:
    PictureSettings settings() const;

    /* From the next frame on. */
    void set(const PictureSettings &settings);

    /* What the camera is in, and where it looks. */
    World &world() { return world_; }
    const World &world() const { return world_; }

    /* How often they, or the world, have been set; wraps. */
    uint32_t changes() const;

    /* What get_isp_ev says, `fps` being the capture's frame rate. */
    ExposureRecord exposure(int32_t fps) const;

    /* Takes the settings for a frame. True when paint is going to change its pixels; `scene` as below. */
    bool begin_frame(bool scene);

    /* The number of changes that this frame shows. */
    uint32_t changes_shown() const { return used_changes_ + moment_.changes; }

    /* How often a change has made the picture as a whole another one: turned the view, turned it upside down,
     * made it brighter; wraps. What looks for motion starts anew then. */
    uint32_t look() const { return look_; }

    /* Its time stamp, empty when that is not shown. */
    std::string stamp(uint32_t frame) const;

    /* Does what the settings say, but for what is drawn. `scene` says that the frame is the test scene's. */
    void paint(const Planes &planes, bool scene, uint32_t frame);

    /* Draws the tracking rectangle, if there is one. */
    void draw(const Planes &planes) const;

    /* Measures what a frame looks like, for the exposure. */
    void measure(const Plane &y) { luma_mean_.store(mean_luma(y), std::memory_order_relaxed); }

  private:
    void work_out_tables();

    World world_;
    mutable std::mutex mutex_;
    PictureSettings settings_; /* under the lock */
    uint32_t changes_ = 0;     /* under the lock: of the settings */
    std::atomic<uint32_t> luma_mean_{0};

    /* The capture's thread only: the settings in use and what follows from them. */
    PictureSettings used_;
    uint32_t used_changes_ = 0;
    uint32_t look_ = 0;
    Moment moment_{};         /* of the world, for this frame */
    bool used_scene_ = false; /* the frame is the test scene's */
    bool tone_ = false;
    Curve tone_curve_{};
    bool tint_ = false;
    Tint tint_matrix_{};
    Scene scene_;
};

} // namespace board

#endif
