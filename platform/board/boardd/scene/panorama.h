/*
 * The world as it looks all around, prepared once for a size of picture and then copied from: a cylinder of
 * 360 degrees, as high as the camera can look.
 *
 *     tilt  +30 and up   a cornice, then the sky
 *            0           facades, each 15 degrees wide and of a colour of its own, with a post between two,
 * their pan in degrees beside the post, and windows; posts have a mark every 10 degrees of tilt below a dark
 * wall; it is the lowest eighth of a picture that looks straight ahead below -40    a tiled floor
 *
 * One thread at a time.
 */
#ifndef PLATFORM_BOARD_BOARDD_SCENE_PANORAMA_H
#define PLATFORM_BOARD_BOARDD_SCENE_PANORAMA_H

#include "board/boardd/picture/effects.h"
#include "board/scene_protocol.h"

#include <vector>

namespace board {

/* Brightness by which pixels are multiplied, in these parts. */
constexpr uint32_t brightness_one = 128;
constexpr uint32_t brightness_max = 2 * brightness_one;

/* A colour of video, and what becomes of it in less or more light. */
struct Colour {
    uint8_t y, u, v;
};
Colour lit(const Colour &colour, uint32_t brightness);

class Panorama {
  public:
    /* For pictures of this size; both are even. */
    Panorama(int32_t width, int32_t height);

    bool fits(const Plane &y) const { return y.width == width_ && y.height == height_; }

    /* Fills a picture of that size with what is seen by `view`, in the light of `brightness`. */
    void show(const Planes &picture, const ViewRecord &view, uint32_t brightness) const;

    /* Pixels of the picture in so many hundredths of a degree. */
    double pixels(double hundredths) const { return hundredths * width_ / view_field_horizontal; }

  private:
    /* Degrees: left, right, bottom, top. */
    struct Area {
        double left, right, bottom, top;
    };

    void paint_facades();
    void paint_ground();
    void paint_posts();
    void paint_number(double left, double top, int32_t number);
    void fill(const Area &area, const Colour &colour);
    int32_t column(double pan) const;
    int32_t row(double tilt) const;

    int32_t width_; /* of a picture */
    int32_t height_;
    int32_t world_width_;
    int32_t world_height_;
    std::vector<uint8_t> memory_;
    Planes planes_; /* in it */
};

} // namespace board

#endif
