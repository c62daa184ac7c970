// The test scene as pixels: where things are, and how bright.

#include "board/boardd/scene/scene.h"

#include "board/boardd/picture/settings.h"
#include "platform/board/picture/canvas.h"

#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>

namespace {

using namespace board;
using fake::Canvas;

constexpr int width = 220; /* two pixels a degree */
constexpr int height = 124;

Moment moment_of(double brightness = 1, ViewRecord view = {0, 0}) {
    return {brightness, 1, view, std::nullopt, false, 0};
}

Canvas painted(const Moment &moment, int32_t flicker_hz = scene_mains_hz, uint32_t frame = 0) {
    Canvas canvas(width, height, 0);
    Scene().paint(canvas.planes(), moment, flicker_hz, frame);
    EXPECT_TRUE(canvas.margins_are_whole());
    return canvas;
}

double mean_luma(Canvas &canvas) {
    double sum = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            sum += canvas.y(x, y);
        }
    }
    return sum / width / height;
}

/* Mean difference of two pictures, the other one so many pixels to the right and down. */
double difference(Canvas &one, Canvas &other, int right = 0, int down = 0) {
    double sum = 0;
    int count = 0;
    for (int y = std::max(0, -down); y < height - std::max(0, down); ++y) {
        for (int x = std::max(0, -right); x < width - std::max(0, right); ++x, ++count) {
            sum += std::abs(one.y(x, y) - other.y(x + right, y + down));
        }
    }
    return sum / count;
}

TEST(SceneTest, HasADarkWallInItsLowestEighth) {
    Canvas canvas = painted(moment_of());
    const int wall = height * 7 / 8;
    for (int x = width - 6; x < width; ++x) {
        EXPECT_GT(canvas.y(x, wall - 2), 80);
        EXPECT_LT(canvas.y(x, wall + 1), 60);
        EXPECT_LT(canvas.y(x, height - 1), 60);
    }
}

TEST(SceneTest, EachViewLooksDifferent) {
    Canvas ahead = painted(moment_of());
    for (const ViewRecord &view :
         {ViewRecord{500, 0}, {-3000, 0}, {16000, 0}, {-16000, 0}, {0, 500}, {0, -3000}}) {
        Canvas other = painted(moment_of(1, view));
        EXPECT_GT(difference(ahead, other), 3) << view.pan << ' ' << view.tilt;
    }
}

TEST(SceneTest, WhatTheViewTurnsToMovesTheOtherWay) {
    Canvas ahead = painted(moment_of());
    Canvas right = painted(moment_of(1, {1000, 0}));
    EXPECT_EQ(difference(right, ahead, 20), 0) << "ten degrees are twenty pixels";
    Canvas up = painted(moment_of(1, {0, 1000}));
    EXPECT_EQ(difference(ahead, up, 0, 20), 0);
}

TEST(SceneTest, TheWorldIsAllAround) {
    Canvas last = painted(moment_of(1, {16000, 0}));
    Canvas first = painted(moment_of(1, {-16000, 0}));
    EXPECT_EQ(difference(last, first, -80), 0) << "forty degrees on are eighty pixels";
}

TEST(SceneTest, EveryViewFitsIntoTheWorldAtEverySize) {
    for (const auto &[w, h] : {std::pair(2, 2), {64, 64}, {16, 128}, {320, 180}, {126, 34}}) {
        Scene scene;
        for (const int32_t pan : {-view_pan_max, -1, 0, 9999, view_pan_max}) {
            for (const int32_t tilt : {-view_tilt_max, -1, 0, view_tilt_max}) {
                Canvas canvas(w, h, 0);
                Moment moment = moment_of(0.7, {pan, tilt});
                moment.gain = 50;
                moment.object = ObjectPlace{pan, tilt, 4000};
                scene.paint(canvas.planes(), moment, 60, 3);
                ASSERT_TRUE(canvas.margins_are_whole()) << w << ' ' << h << ' ' << pan << ' ' << tilt;
                ASSERT_GE(canvas.y(w - 1, h - 1), 10) << "not painted";
            }
        }
    }
}

TEST(SceneTest, IsPaintedAnewForAnotherSize) {
    Scene scene;
    Canvas small(64, 36, 0);
    scene.paint(small.planes(), moment_of(), scene_mains_hz, 0);
    Canvas large(width, height, 0);
    scene.paint(large.planes(), moment_of(), scene_mains_hz, 1);
    Canvas expected = painted(moment_of());
    EXPECT_EQ(difference(large, expected), 0);
}

/* ---- light ---- */

TEST(SceneTest, BrightnessMultipliesLumaFromBlack) {
    Canvas full = painted(moment_of());
    const double light = mean_luma(full) - 16;
    for (const double brightness : {0.5, 0.25, 0.1}) {
        Canvas dark = painted(moment_of(brightness));
        EXPECT_NEAR(mean_luma(dark) - 16, light * brightness, 1);
    }
    Canvas none = painted(moment_of(0));
    EXPECT_EQ(mean_luma(none), 16);
    Canvas glaring = painted(moment_of(100));
    EXPECT_GT(mean_luma(glaring) - 16, light * 1.7) << "some of it is white then";
    for (int y = 0; y < height; ++y) {
        ASSERT_LE(glaring.y(width - 3, y), 235);
    }
}

TEST(SceneTest, ColourFadesWithTheLight) {
    Canvas full = painted(moment_of());
    Canvas half = painted(moment_of(0.5));
    Canvas none = painted(moment_of(0));
    const int colour = full.u(5, 30) - 128;
    EXPECT_GT(std::abs(colour), 6);
    EXPECT_NEAR(half.u(5, 30) - 128, colour / 2.0, 1);
    EXPECT_EQ(none.u(5, 30), 128);
    EXPECT_EQ(none.v(5, 30), 128);
}

TEST(SceneTest, LittleGainHasNoNoiseAndMuchHasSome) {
    Canvas calm = painted(moment_of());
    Moment moment = moment_of();
    moment.gain = 4;
    Canvas lamp = painted(moment);
    EXPECT_EQ(difference(calm, lamp), 0);
    double before = 0;
    for (const double gain : {10.0, 25.0, 50.0}) {
        moment.gain = gain;
        Canvas noisy = painted(moment);
        EXPECT_GT(difference(calm, noisy), before);
        EXPECT_NEAR(mean_luma(noisy), mean_luma(calm), 0.3);
        before = difference(calm, noisy);
    }
    EXPECT_LT(before, 4) << "it does not hide what is there";
}

TEST(SceneTest, NoiseIsAnotherInEachFrame) {
    Scene scene;
    Moment moment = moment_of();
    moment.gain = 50;
    Canvas one(width, height, 0);
    Canvas other(width, height, 0);
    scene.paint(one.planes(), moment, scene_mains_hz, 0);
    scene.paint(other.planes(), moment, scene_mains_hz, 1);
    EXPECT_GT(difference(one, other), 1);
}

/* ---- the thing that moves ---- */

/* The middle of what differs between two pictures, in pixels; negative when nothing does. */
std::pair<double, double> middle_of_change(Canvas &one, Canvas &other) {
    double x_sum = 0;
    double y_sum = 0;
    int count = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (std::abs(one.y(x, y) - other.y(x, y)) > 3) {
                x_sum += x;
                y_sum += y;
                ++count;
            }
        }
    }
    return count == 0 ? std::pair(-1.0, -1.0) : std::pair(x_sum / count, y_sum / count);
}

TEST(SceneTest, TheObjectIsWhereItIsInTheWorld) {
    struct Case {
        ViewRecord view;
        ObjectPlace object;
        double x, y;
    };
    for (const Case &one :
         {Case{{0, 0}, {0, 0, 2000}, 110, 62}, Case{{0, 0}, {3000, 1000, 2000}, 170, 42},
          Case{{2000, 500}, {3000, 1000, 2000}, 130, 52}, Case{{16000, 0}, {-17000, 0, 2000}, 170, 62}}) {
        Moment moment = moment_of(1, one.view);
        Canvas without = painted(moment);
        moment.object = one.object;
        Canvas with = painted(moment);
        const auto [x, y] = middle_of_change(without, with);
        EXPECT_NEAR(x, one.x, 2.5);
        EXPECT_NEAR(y, one.y, 3.5);
    }
}

TEST(SceneTest, TheObjectLeavesThePictureAndPanningBringsItBack) {
    Moment moment = moment_of();
    Canvas empty = painted(moment);
    moment.object = ObjectPlace{7000, 0, 1200};
    Canvas gone = painted(moment);
    EXPECT_EQ(difference(empty, gone), 0);
    moment.object.reset();
    moment.view = {4000, 0};
    Canvas turned = painted(moment);
    moment.object = ObjectPlace{7000, 0, 1200};
    Canvas back = painted(moment);
    EXPECT_NEAR(middle_of_change(turned, back).first, 170, 2.5);
}

/* By day, in the dusk, by the lamp: whenever somebody would see it, it stands out of the noise. */
TEST(SceneTest, TheObjectStandsOutInAnyLight) {
    for (const auto &[brightness, gain] : {std::pair(1.0, 1.0), {1, 4}, {1, 50}, {0.3, 50}}) {
        for (const int32_t pan : {-17000, -4000, 0, 700, 2100, 9000}) {
            Moment moment = moment_of(brightness, {std::clamp(pan, -view_pan_max, view_pan_max), 0});
            Canvas without = painted(moment);
            moment.object = ObjectPlace{pan, -600, 1200};
            Canvas with = painted(moment);
            int seen = 0;
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) {
                    seen += std::abs(with.y(x, y) - without.y(x, y)) > 20 ? 1 : 0;
                }
            }
            EXPECT_GT(seen, 60) << brightness << ' ' << gain << ' ' << pan;
        }
    }
}

/* ---- lamps on the mains ---- */

TEST(SceneTest, UnderTheWrongFrequencyItHasBandsThatRoll) {
    Canvas even = painted(moment_of());
    Canvas first = painted(moment_of(), 60, 0);
    Canvas second = painted(moment_of(), 60, 1);
    double least = 1;
    double most = 1;
    int moved = 0;
    const int right = width - 2;
    for (int y = 0; y < height; ++y) {
        const double change = (first.y(right, y) - 16.0) / (even.y(right, y) - 16.0);
        least = std::min(least, change);
        most = std::max(most, change);
        moved += first.y(right, y) != second.y(right, y) ? 1 : 0;
    }
    EXPECT_LT(least, 0.9);
    EXPECT_GT(most, 1.1);
    EXPECT_GT(moved, height / 2);
}

} // namespace
