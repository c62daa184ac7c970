/*
 * What the scene looks like when nothing moves, and how a frame differs from it when only the light has
 * changed. Pictures are luma, detect_width x detect_height, CV_8UC1.
 *
 * Light multiplies what a surface reflects. In the logarithm of luma it adds, so what it does is smooth there
 * however much the scene has of texture, while a thing that stands before the scene has edges that were not
 * there before. Pure; one thread for each object.
 */
#ifndef PLATFORM_BOARD_BOARDD_ANALYTICS_STILL_PICTURE_H
#define PLATFORM_BOARD_BOARDD_ANALYTICS_STILL_PICTURE_H

#include <opencv2/core.hpp>
#include <vector>

namespace board {

constexpr int32_t detect_width = 320;
constexpr int32_t detect_height = 192;

class StillPicture {
  public:
    /* The scene is this frame. */
    void begin(const cv::Mat &frame);

    /* A frame's difference from the scene; what follows is about it. */
    void compare(const cv::Mat &frame, const cv::Mat &before);

    /* The frame as a whole differs: other light everywhere, or another view. */
    bool all_changed() const { return light_changed() || view_changed(); }

    /* Has what this outline encloses come into the scene, rather than light fallen on it? */
    bool is_thing(const std::vector<cv::Point> &outline) const;

    /* The scene takes over what the frame shows, slowly, where `moving` is 0. */
    void follow(const cv::Mat &frame, const cv::Mat &moving);

  private:
    bool light_changed() const;
    bool view_changed() const;

    double noise_ = 2; /* from frame to frame: standard deviation, luma */
    cv::Mat mean_;     /* CV_32F */
    cv::Mat still_;    /* mean_ as luma */
    cv::Mat ratio_;    /* CV_32F: logarithm of frame over scene */
    cv::Mat changed_;  /* 255 where the frame differs from the one before */
};

} // namespace board

#endif
