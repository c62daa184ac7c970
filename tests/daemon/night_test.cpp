// Day and night, whole: the light of the world, or the setting, and what the daemon has the board do about
// it: filter, lamp and image processor together.

#include "board/boardctl.h"
#include "support/system.h"

#include <gtest/gtest.h>
#include <string>

using support::eventually;
using support::System;

namespace {

using namespace std::chrono_literals;

constexpr uint32_t dark_mlux = 100;
constexpr uint32_t bright_mlux = 500'000;

class Night : public testing::Test {
  protected:
    /* Up to where a change of the setting is more than stored. */
    Night() {
        system_.start();
        EXPECT_TRUE(
            eventually([&] { return support::thread_named(system_.daemon->pid(), "ankai_ircut_ctr") > 0; }));
    }

    static void set_light(uint32_t mlux) { board::BoardCtl().set_sky({board::scene_constant, mlux, 0, 0}); }

    /* Filter, lamp and image processor are as by night, or as by day. */
    static bool board_has(bool night) {
        const std::string status = board::BoardCtl().status();
        const auto says = [&](const char *text) { return status.find(text) != std::string::npos; };
        return night ? says(R"("filter":0,)") && says(R"("lamp":10000,)") && says(R"("night":true)")
                     : says(R"("filter":1,)") && says(R"("lamp":0,)") && says(R"("night":false)");
    }
    static bool night_comes() {
        return eventually([] { return board_has(true); }, 60s);
    }
    static bool day_comes() {
        return eventually([] { return board_has(false); }, 60s);
    }

    static std::string status() { return board::BoardCtl().status(); }

    System system_;
};

TEST_F(Night, ComesWithDarknessAndGoesWithLight) {
    support::Process &daemon = *system_.daemon;
    ASSERT_TRUE(day_comes()) << status();
    EXPECT_EQ(daemon.count("set mode night!!!!"), 0U);
    set_light(dark_mlux);
    ASSERT_TRUE(daemon.saw("info ircut_main_pthread(): set mode night!!!!", 60s)) << status();
    EXPECT_TRUE(board_has(true)) << status();
    EXPECT_EQ(daemon.count("set mode day!!!!"), 0U);
    set_light(bright_mlux);
    ASSERT_TRUE(daemon.saw("info ircut_main_pthread(): set mode day!!!!", 60s)) << status();
    EXPECT_TRUE(board_has(false)) << status();
    EXPECT_EQ(daemon.count("set mode night!!!!"), 1U);
}

TEST_F(Night, EndsAtOnceWhenTheCameraIsSwitchedOff) {
    support::Process &daemon = *system_.daemon;
    set_light(dark_mlux);
    ASSERT_TRUE(daemon.saw("set mode night!!!!", 60s)) << status();
    ASSERT_TRUE(System::set("power", "off"));
    EXPECT_TRUE(day_comes()) << status();
    EXPECT_EQ(daemon.count("set mode day!!!!"), 0U) << "it is not the light that did it";
    ASSERT_TRUE(System::set("power", "on"));
    EXPECT_TRUE(night_comes()) << "it is as dark as it was: " << status();
}

TEST_F(Night, IsASettingToo) {
    ASSERT_TRUE(System::set("night_mode", "2"));
    EXPECT_TRUE(night_comes()) << "at 500 lux: " << status();
    ASSERT_TRUE(System::set("night_mode", "1"));
    EXPECT_TRUE(day_comes()) << status();
    EXPECT_EQ(system_.daemon->count("!!!!"), 0U) << "the light has nothing to do with it";
}

} // namespace
