// strellctl scene on a real board.

#include "board/boardctl.h"
#include "support/board_process.h"
#include "support/eventually.h"
#include "support/scratch.h"
#include "tools/ctl.h"

#include <gtest/gtest.h>

using ctl_test::run_ctl;
using ctl_test::Words;

namespace {

class SceneCommand : public testing::Test {
  protected:
    board::SceneStateRecord after(const Words &words) {
        const auto outcome = run_ctl(words);
        EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
        EXPECT_EQ(outcome.output, "");
        return board::BoardCtl().scene();
    }
    static std::string shown() { return run_ctl({"scene"}).output; }

    support::ScratchRunDir dir_;
    support::BoardProcess boardd_;
};

TEST_F(SceneCommand, ShowsTheWorldAsItIsAtFirst) {
    const std::string text = shown();
    EXPECT_EQ(text.rfind("light   500 lux\n", 0), 0U) << text;
    EXPECT_NE(text.find("filter in front, lamp off, gain 1.0\nview    pan 0, tilt 0\nobject  at pan "),
              std::string::npos)
        << text;
    EXPECT_EQ(run_ctl({"scene", "show"}).exit_code, 0);
}

TEST_F(SceneCommand, SetsTheLight) {
    EXPECT_EQ(after({"scene", "brightness", "0.25"}).ambient_mlux, 250U);
    EXPECT_EQ(shown().rfind("light   0.25 lux\n", 0), 0U);
    const board::SceneLightRecord ramp = after({"scene", "ramp", "100", "60"}).light;
    EXPECT_EQ(ramp.mode, board::scene_ramp);
    EXPECT_EQ(ramp.high_mlux, 100'000U);
    EXPECT_EQ(ramp.period_ms, 60'000U);
    EXPECT_NE(shown().find(", to 100 lux within 60 s\n"), std::string::npos) << shown();
    EXPECT_EQ(after({"scene", "cycle", "60"}).light.low_mlux, 100U);
    const board::SceneLightRecord cycle = after({"scene", "cycle", "1.5", "20", "0"}).light;
    EXPECT_EQ(cycle.mode, board::scene_cycle);
    EXPECT_EQ(cycle.high_mlux, 20'000U);
    EXPECT_EQ(cycle.low_mlux, 0U);
    EXPECT_EQ(cycle.period_ms, 1500U);
    EXPECT_NE(shown().find(", from 20 lux to 0 lux and back in 1.5 s\n"), std::string::npos) << shown();
    EXPECT_EQ(after({"scene", "noise", "10"}).noise_percent, 10U);
    EXPECT_NE(shown().find(", flickers by 10 %\n"), std::string::npos) << shown();
}

TEST_F(SceneCommand, TurnsTheCamera) {
    const board::ViewRecord view = after({"scene", "view", "-45.5", "-10"}).view;
    EXPECT_EQ(view.pan, -4550);
    EXPECT_EQ(view.tilt, -1000);
    EXPECT_NE(shown().find("view    pan -45.5, tilt -10\n"), std::string::npos) << shown();
}

TEST_F(SceneCommand, SendsSomebodyRoundOrAway) {
    const board::SceneObjectRecord round = after({"scene", "object", "on", "--path", "round", "--speed",
                                                  "-20", "--size", "5", "--pan", "-90", "--tilt", "-3"})
                                               .object;
    EXPECT_EQ(round.on, 1);
    EXPECT_EQ(round.path, board::path_round);
    EXPECT_EQ(round.speed, -2000);
    EXPECT_EQ(round.size, 500);
    EXPECT_EQ(round.pan, -9000);
    EXPECT_EQ(round.tilt, -300);
    EXPECT_NE(shown().find("round the camera, -20 degrees a second\n"), std::string::npos) << shown();
    EXPECT_EQ(after({"scene", "object", "off"}).object.on, 0);
    EXPECT_NE(shown().find("object  off\n"), std::string::npos);
    const board::SceneObjectRecord back = after({"scene", "object", "on"}).object;
    EXPECT_EQ(back.speed, -2000) << "as it was";
    const board::SceneObjectRecord swing =
        after({"scene", "object", "on", "--path=swing", "--span=30"}).object;
    EXPECT_EQ(swing.path, board::path_swing);
    EXPECT_EQ(swing.speed, 2000) << "a swing has no direction";
    EXPECT_EQ(swing.span, 3000);
    for (const Words &wrong : {Words{"scene", "object", "maybe"},
                               {"scene", "object", "on", "--path", "up"},
                               {"scene", "object", "on", "--speed", "361"},
                               {"scene", "object", "on", "--size", "small"}}) {
        EXPECT_EQ(run_ctl(wrong).exit_code, 2);
    }
}

TEST_F(SceneCommand, ABurstWithoutPowerIsRefusedWithTheReason) {
    const auto outcome = run_ctl({"scene", "burst", "-20", "100"});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("strellctl: boardd refuses the noise: "), std::string::npos)
        << outcome.output;
}

} // namespace
