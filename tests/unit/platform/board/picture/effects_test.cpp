// What is done to pixels, on small pictures made by hand.

#include "board/boardd/picture/effects.h"
#include "platform/board/picture/canvas.h"

#include <climits>
#include <gtest/gtest.h>

namespace {

using namespace board;
using fake::Canvas;

TEST(Curves, BlackAndWhiteStay) {
    for (const Curve &curve : {plain_curve(), wdr_curve(), gain_curve(1.6)}) {
        EXPECT_EQ(curve[16], 16);
        EXPECT_EQ(curve[235], 235);
    }
}

TEST(Curves, NeverFall) {
    for (const Curve &curve : {plain_curve(), wdr_curve(), gain_curve(1.6), gain_curve(0.3)}) {
        for (size_t i = 17; i <= 235; ++i) {
            EXPECT_GE(curve[i], curve[i - 1]) << i;
        }
    }
}

TEST(Curves, WideDynamicRangeLiftsShadowsMoreThanLights) {
    const Curve curve = wdr_curve();
    EXPECT_GT(curve[50], 50 + 25);
    EXPECT_LT(curve[220], 220 + 10);
}

TEST(Curves, GainMultipliesFromBlack) {
    EXPECT_EQ(gain_curve(2)[66], 116);
    EXPECT_EQ(gain_curve(0.5)[116], 66);
    EXPECT_EQ(gain_curve(2)[200], 235) << "no more than white";
    EXPECT_EQ(gain_curve(2)[5], 5) << "blacker than black is left alone";
}

TEST(Curves, AreChainedInOrder) {
    const Curve chain = chained(gain_curve(2), gain_curve(0.5));
    EXPECT_EQ(chain[66], 66);
    EXPECT_EQ(chain[220], gain_curve(0.5)[235]);
}

TEST(Effects, ACurveChangesTheRowsThatItIsGiven) {
    Canvas canvas(8, 8, 66);
    apply_curve(canvas.planes().y, gain_curve(2), 2, 3);
    for (int y = 0; y < 8; ++y) {
        EXPECT_EQ(canvas.y(7, y), y >= 2 && y < 5 ? 116 : 66);
    }
    apply_curve(canvas.planes().y, gain_curve(2), 6, 100);
    EXPECT_EQ(canvas.y(0, 7), 116);
    EXPECT_TRUE(canvas.margins_are_whole());
}

TEST(Effects, FlipReversesTheRowsOfAllPlanes) {
    Canvas canvas(4, 6, 0);
    for (int y = 0; y < 6; ++y) {
        canvas.y(1, y) = static_cast<uint8_t>(y);
        canvas.u(1, y / 2) = static_cast<uint8_t>(10 + y / 2);
        canvas.v(1, y / 2) = static_cast<uint8_t>(20 + y / 2);
    }
    flip(canvas.planes());
    for (int y = 0; y < 6; ++y) {
        EXPECT_EQ(canvas.y(1, y), 5 - y);
        EXPECT_EQ(canvas.u(1, y / 2), 12 - y / 2);
        EXPECT_EQ(canvas.v(1, y / 2), 22 - y / 2);
    }
    EXPECT_TRUE(canvas.margins_are_whole());
}

TEST(Effects, GreyHasNoChromaAndAllOfItsLuma) {
    Canvas canvas(4, 4, 77, 20, 200);
    make_grey(canvas.planes());
    EXPECT_EQ(canvas.y(3, 3), 77);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(canvas.u(i % 2, i / 2), 128);
        EXPECT_EQ(canvas.v(i % 2, i / 2), 128);
    }
    EXPECT_TRUE(canvas.margins_are_whole());
}

constexpr WhiteBalanceRecord gains(uint32_t red, uint32_t green, uint32_t blue) {
    return {white_fixed, red, green, blue, {}};
}

TEST(Effects, NeutralGainsChangeNoColour) {
    for (const int u : {16, 90, 128, 240}) {
        Canvas canvas(4, 4, 120, static_cast<uint8_t>(u), 100);
        apply_tint(canvas.planes(), tint_of(gains(1024, 1024, 1024)));
        EXPECT_NEAR(canvas.u(1, 1), u, 1);
        EXPECT_NEAR(canvas.v(1, 1), 100, 1);
    }
}

TEST(Effects, GainsTintWhatIsLightAndNotWhatIsBlack) {
    for (const int luma : {16, 60, 200}) {
        Canvas canvas(4, 4, static_cast<uint8_t>(luma));
        apply_tint(canvas.planes(), tint_of(gains(2048, 1024, 1024)));
        EXPECT_EQ(canvas.y(0, 0), luma);
        if (luma == 16) {
            EXPECT_EQ(canvas.v(0, 0), 128);
        } else {
            EXPECT_GT(canvas.v(0, 0), 128 + luma / 8);
            EXPECT_LT(canvas.u(0, 0), 128);
        }
    }
}

TEST(Effects, ExtremeGainsStayInRange) {
    for (const auto &record : {gains(4096, 256, 256), gains(256, 256, 4096), gains(256, 4096, 256)}) {
        for (const int value : {0, 255}) {
            Canvas canvas(2, 2, 255, static_cast<uint8_t>(value), static_cast<uint8_t>(255 - value));
            apply_tint(canvas.planes(), tint_of(record));
            EXPECT_GE(canvas.u(0, 0), 16);
            EXPECT_LE(canvas.u(0, 0), 240);
            EXPECT_GE(canvas.v(0, 0), 16);
            EXPECT_LE(canvas.v(0, 0), 240);
        }
    }
}

TEST(Effects, TheTrackIsAnOutlineInItsPlace) {
    Canvas canvas(640, 384, 50);
    draw_track(canvas.planes(), {100, 60, 200, 100});
    for (const auto &[x, y] : {std::pair(100, 60), {299, 159}, {101, 110}, {200, 61}}) {
        EXPECT_EQ(canvas.y(x, y), 210) << x << ' ' << y;
        EXPECT_EQ(canvas.u(x / 2, y / 2), 16);
    }
    for (const auto &[x, y] : {std::pair(99, 60), {100, 59}, {300, 100}, {200, 160}, {200, 110}}) {
        EXPECT_EQ(canvas.y(x, y), 50) << x << ' ' << y;
        EXPECT_EQ(canvas.u(x / 2, y / 2), 128);
    }
}

TEST(Effects, TheTrackGrowsWithThePicture) {
    Canvas canvas(1280, 768, 50);
    draw_track(canvas.planes(), {100, 60, 200, 100});
    EXPECT_EQ(canvas.y(200, 120), 210);
    EXPECT_EQ(canvas.y(599, 319), 210);
    EXPECT_EQ(canvas.y(198, 120), 50);
    EXPECT_EQ(canvas.y(602, 319), 50);
}

TEST(Effects, NoTrackWritesOutsideThePicture) {
    const int32_t numbers[] = {INT_MIN, -700, -1, 0, 1, 639, 640, 100000, INT_MAX};
    for (const int32_t position : numbers) {
        for (const int32_t size : {1, 640, 100000, INT_MAX}) {
            Canvas canvas(64, 64, 50);
            draw_track(canvas.planes(), {position, position, size, size});
            ASSERT_TRUE(canvas.margins_are_whole()) << position << ' ' << size;
        }
    }
}

TEST(Effects, MeanLumaIsThatOfThePicture) {
    Canvas canvas(64, 64, 40);
    EXPECT_EQ(mean_luma(canvas.planes().y), 40U);
    for (int y = 32; y < 64; ++y) {
        for (int x = 0; x < 64; ++x) {
            canvas.y(x, y) = 80;
        }
    }
    EXPECT_EQ(mean_luma(canvas.planes().y), 60U);
}

} // namespace
