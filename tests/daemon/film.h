/*
 * What a stream shows, as a viewer sees it: recorded with strellctl, decoded with ffmpeg.
 */
#ifndef TESTS_DAEMON_FILM_H
#define TESTS_DAEMON_FILM_H

#include "support/system.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace daemon_test {

/* A source for the board: colour bars, which stand still and look different from each side, with greys, black
 * and white among them. */
constexpr const char *colour_bars = "videotestsrc pattern=smpte-rp-219 is-live=true";

/* The brightness of a picture, row by row: luma as it was encoded, 16 (black) to 235 (white). */
struct Picture {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<uint8_t> luma;

    double at(int32_t x, int32_t y) const {
        return luma[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
    }
};

/* A part of a picture: columns left to right and rows top to bottom, in parts of its size. */
struct Part {
    double left = 0;
    double top = 0;
    double right = 1;
    double bottom = 1;
};

constexpr Part whole_picture = {};

/* At least five frames of "main" or "sub", of a second as a rule, all of them captured after the call. Empty,
 * and a failure of the test, when they cannot be recorded or decoded. */
std::vector<Picture> film(const support::System &system, const std::string &stream);

/* A frame of such a film in which each pixel is the median of its values, so that nothing that moves is in
 * it. */
Picture still(const support::System &system, const std::string &stream);
Picture median(const std::vector<Picture> &frames);

/* The picture with its last row first. */
Picture upside_down(const Picture &picture);

/* How far two pictures of one size are apart: the mean of the pixels' differences, in steps of luma. */
double difference(const Picture &one, const Picture &other, const Part &part = whole_picture);

/* How much alike two pictures look whatever their sizes and brightness: correlation of a grid of means, up to
 * 1. */
double likeness(const Picture &one, const Picture &other);

/* The mean of `value(before, after)` over the pixels of a part for which `counts(before)`. */
double mean_change(const Picture &before, const Picture &after,
                   const std::function<bool(double luma)> &counts);

/* How much the rows of a film change from frame to frame. Of each row it is the median of its pixels'
 * changes, so that what is small and moves does not count. */
double rolling(const std::vector<Picture> &frames);

} // namespace daemon_test

#endif
