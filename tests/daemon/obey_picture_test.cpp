// What settings do to the picture, as a viewer of a stream sees it: a setting is written with strellctl, the
// stream is recorded and decoded, and pictures from before and after are compared.

#include "board/boardctl.h"
#include "daemon/film.h"
#include "support/system.h"
#include "tools/ctl.h"

#include <cmath>
#include <gtest/gtest.h>
#include <string>

using daemon_test::difference;
using daemon_test::film;
using daemon_test::likeness;
using daemon_test::mean_change;
using daemon_test::Part;
using daemon_test::Picture;
using daemon_test::rolling;
using daemon_test::still;
using daemon_test::upside_down;
using support::eventually;
using support::System;

namespace {

/* What the encoder makes of one and the same picture twice differs by less than this, in the mean. */
constexpr double noise = 2.0;

/* Where the time stamp is; its date, without the time of day, which never stands still; and where it is not,
 * neither in a picture that is turned over. */
constexpr Part stamp = {0.03, 0.06, 0.37, 0.16};
constexpr Part date = {0.04, 0.06, 0.2, 0.16};
constexpr Part middle = {0, 0.2, 1, 0.8};

class ObeyPicture : public testing::Test {
  protected:
    explicit ObeyPicture(const std::vector<std::string> &board_arguments) { system_.start(board_arguments); }

    /* Writes the setting, and waits until the board says that it does so. */
    static void set(const std::string &key, const std::string &value, const std::string &effect) {
        const auto outcome = ctl_test::run_ctl({"set", key, value}, support::Leaks::not_sought);
        ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
        ASSERT_TRUE(eventually([&] { return board::BoardCtl().status().find(effect) != std::string::npos; }))
            << board::BoardCtl().status();
    }

    System system_;
};

// ---- before colour bars, which stand still: all change is the setting's ----

class Bars : public ObeyPicture {
  protected:
    Bars() : ObeyPicture({"--source", daemon_test::colour_bars}) {}
};

TEST_F(Bars, FlipTurnsBothStreamsUpsideDown) {
    const Picture main_before = still(system_, "main");
    const Picture sub_before = still(system_, "sub");
    ASSERT_NO_FATAL_FAILURE(set("flip", "on", R"("flip":true)"));
    for (const auto &[stream, before] : {std::pair{"main", &main_before}, {"sub", &sub_before}}) {
        const Picture after = still(system_, stream);
        EXPECT_LT(difference(upside_down(*before), after, middle), noise) << stream;
        EXPECT_GT(difference(*before, after, middle), 5 * noise) << stream;
    }
    ASSERT_NO_FATAL_FAILURE(set("flip", "off", R"("flip":false)"));
    EXPECT_LT(difference(main_before, still(system_, "main"), middle), noise);
}

TEST_F(Bars, WatermarkHidesTheTimeStampAndNothingElse) {
    const Picture shown = still(system_, "sub");
    ASSERT_NO_FATAL_FAILURE(set("watermark", "off", R"("overlay":false)"));
    const Picture hidden = still(system_, "sub");
    EXPECT_GT(difference(shown, hidden, stamp), 5 * noise);
    EXPECT_LT(difference(shown, hidden, middle), noise);
    ASSERT_NO_FATAL_FAILURE(set("watermark", "on", R"("overlay":true)"));
    EXPECT_GT(difference(still(system_, "sub"), hidden, stamp), 5 * noise);
}

TEST_F(Bars, WdrLiftsShadowsAndLeavesBlackAndWhite) {
    ASSERT_NO_FATAL_FAILURE(set("watermark", "off", R"("overlay":false)"));
    const Picture before = still(system_, "sub");
    ASSERT_NO_FATAL_FAILURE(set("wdr", "on", R"("wdr":true)"));
    const Picture after = still(system_, "sub");
    const double shadows = mean_change(before, after, [](double luma) { return luma > 25 && luma < 60; });
    const double lights = mean_change(before, after, [](double luma) { return luma > 170; });
    RecordProperty("lift", std::to_string(shadows));
    const double black = mean_change(before, after, [](double luma) { return luma < 18; });
    EXPECT_GT(shadows, 20);
    EXPECT_GE(lights, -noise);
    EXPECT_LT(lights, shadows);
    EXPECT_LT(std::abs(black), 3 * noise);
    ASSERT_NO_FATAL_FAILURE(set("wdr", "off", R"("wdr":false)"));
    EXPECT_LT(difference(before, still(system_, "sub")), noise);
}

TEST_F(Bars, RegioncodeChoosesTheLayoutOfTheDate) {
    ASSERT_NO_FATAL_FAILURE(set("regioncode", "US", R"("region":0)"));
    const Picture us = still(system_, "sub");
    EXPECT_LT(difference(us, still(system_, "sub"), date), noise) << "the date stands still";
    ASSERT_NO_FATAL_FAILURE(set("regioncode", "HW", R"("region":2)"));
    const Picture hw = still(system_, "sub");
    EXPECT_GT(difference(us, hw, date), 5 * noise) << "11/21/2026 and 2026-11-21";
    ASSERT_NO_FATAL_FAILURE(set("regioncode", "DE", R"("region":3)"));
    const Picture other = still(system_, "sub");
    EXPECT_GT(difference(us, other, date), 5 * noise) << "2026/11/21";
    EXPECT_LT(difference(us, other, middle), noise) << "the picture itself";
}

// ---- before the test scene, which has lamps in it that flicker with 50 Hz ----

class Lamps : public ObeyPicture {
  protected:
    Lamps() : ObeyPicture({}) {}
};

TEST_F(Lamps, FlickerKeepsTheirBandsOutOrNot) {
    EXPECT_LT(rolling(film(system_, "sub")), 0.5);
    ASSERT_NO_FATAL_FAILURE(set("flicker", "60", R"("flicker_hz":60)"));
    EXPECT_GT(rolling(film(system_, "sub")), 1.5);
    ASSERT_NO_FATAL_FAILURE(set("flicker", "50", R"("flicker_hz":50)"));
    EXPECT_LT(rolling(film(system_, "sub")), 0.5);
}

TEST_F(Lamps, FlipPutsTheDarkWallOnTop) {
    const Picture before = still(system_, "sub");
    ASSERT_NO_FATAL_FAILURE(set("flip", "on", R"("flip":true)"));
    const Picture after = still(system_, "sub");
    EXPECT_GT(likeness(upside_down(before), after), likeness(before, after) + 0.1);
}

} // namespace
