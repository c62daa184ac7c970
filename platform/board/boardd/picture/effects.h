/*
 * What is done to the pixels of a frame: pure functions on the planes of an I420 picture, in place. Luma is
 * 16 (black) to 235 (white), chroma 128 is grey, as everywhere in video.
 *
 * One thread for each picture. Planes belong to the caller and are valid during the call.
 */
#ifndef PLATFORM_BOARD_BOARDD_PICTURE_EFFECTS_H
#define PLATFORM_BOARD_BOARDD_PICTURE_EFFECTS_H

#include "board/picture_protocol.h"

#include <array>
#include <cstdint>

namespace board {

struct Plane {
    uint8_t *bytes; /* first row */
    int32_t stride; /* bytes from row to row */
    int32_t width;  /* pixels, one byte each */
    int32_t height;

    uint8_t *row(int32_t y) const { return bytes + static_cast<ptrdiff_t>(y) * stride; }
};

/* Width and height of y are even; u and v have half of each. */
struct Planes {
    Plane y;
    Plane u;
    Plane v;
};

/* What becomes of each luma value. */
using Curve = std::array<uint8_t, 256>;

Curve plain_curve();

/* Shadows lifted, black and white as they were: what wide dynamic range is for. */
Curve wdr_curve();

/* Everything `factor` times as bright, up to white. */
Curve gain_curve(double factor);

/* One after the other. */
Curve chained(const Curve &first, const Curve &second);

/* Sends `rows` rows of a plane, from `first_row` on, through a curve. */
void apply_curve(const Plane &plane, const Curve &curve, int32_t first_row, int32_t rows);

/* Turns the picture upside down: the last row becomes the first. */
void flip(const Planes &planes);

/* Takes all colour out. */
void make_grey(const Planes &planes);

/* White balance gains as they act on chroma, given luma and chroma; brightness stays. In 1/4096. */
struct Tint {
    int32_t u_of_y, u_of_u, u_of_v;
    int32_t v_of_y, v_of_u, v_of_v;
};
Tint tint_of(const WhiteBalanceRecord &record);
void apply_tint(const Planes &planes, const Tint &tint);

/* Draws the outline of `track` in yellow; what is outside the picture is cut off. */
void draw_track(const Planes &planes, const TrackRecord &track);

/* Mean of a few thousand samples, evenly spread. */
uint32_t mean_luma(const Plane &y);

} // namespace board

#endif
