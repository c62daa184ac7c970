/*
 * A stage for the motion detector: pictures in which things move, the light changes, and so on, as a script
 * says, generated and not captured, so that an hour passes in a minute. What is measured here is the detector
 * alone. One thread for each object.
 */
#ifndef BENCH_MOTION_STAGE_H
#define BENCH_MOTION_STAGE_H

#include "board/boardd/analytics/motion_detector.h"

#include <string>
#include <vector>

namespace bench {

constexpr double frame_s = static_cast<double>(board::detect_interval_us) / 1e6;

/* What happens besides noise. Things that move are events, all else is not. */
enum class Act {
    quiet,
    thing,      /* something crosses the picture */
    light_step, /* more or less light everywhere, at once */
    light_fade, /* within some seconds */
    lamp,       /* a cone of light with a soft edge goes on, and off */
    flash,      /* one frame */
    tone,       /* another tone curve */
    night,      /* darker, with more noise, and back */
    noise,      /* more noise for a while */
    bands,      /* of flickering light roll through */
    clock,      /* a clock is written into the picture */
    rectangle,  /* an outline is drawn into it, and moves */
    flip,       /* upside down */
    pan,        /* the view turns */
    put_down,   /* something is there at once, and stays: not motion */
};
constexpr Act acts_that_are_no_events[] = {Act::light_step, Act::light_fade, Act::lamp,  Act::flash,
                                           Act::tone,       Act::night,      Act::noise, Act::bands,
                                           Act::clock,      Act::rectangle,  Act::flip,  Act::pan};
const char *name_of(Act act);

/* Sizes in pixels of the detector's picture. */
struct Thing {
    double size = 40;     /* height; it is half as wide */
    double speed = 40;    /* a second, from left to right; negative: from right to left */
    double contrast = 50; /* luma, against the mean of the scene */
    double y = 96;        /* its middle */
    double from = -1;     /* where it is at once, instead of coming in at the side; -1: it comes in */
};

class Stage {
  public:
    /* `seed` chooses the scene. */
    explicit Stage(uint32_t seed, double noise = 3);

    /* The next picture while this happens, `elapsed_s` after it began, of `length_s` in all. `strength` is
     * from 0 to 1, and its sign, where that makes a difference, up or down. */
    cv::Mat next(Act act, double elapsed_s, double length_s, double strength, const Thing &thing = Thing());

    /* The time of the last picture. */
    uint64_t time_us() const { return time_us_; }

  private:
    cv::Mat scene_at(double x, double y) const;
    void put_thing(cv::Mat *picture, const Thing &thing, double x, double y) const;
    void add_noise(cv::Mat *picture, double sigma);

    cv::RNG random_;
    double noise_;
    cv::Mat wide_; /* CV_32F, the scene, wider than the picture */
    cv::Mat skin_; /* CV_32F, what a thing looks like, -1 to 1 */
    uint64_t time_us_ = 0;
    /* What acts have left behind. */
    double gain_ = 1;
    bool flipped_ = false;
    double pan_ = 0;
    double put_x_ = -1000;
};

} // namespace bench

#endif
