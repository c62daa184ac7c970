// The two switching sequences: their steps, and that each is taken whatever became of the others.

#include "ircut_fixture.h"

namespace {

TEST_F(Ircut, DayTurnsTheLampOffThenMovesTheFilterWithoutAWait) {
    EXPECT_EQ(set_ircut_day_mode(0), 0);
    EXPECT_EQ(script.journal, day_steps());
    EXPECT_EQ(script.now_us, 0U);
}

TEST_F(Ircut, NightWaitsThenMovesTheFilterThenTurnsTheLampOn) {
    EXPECT_EQ(set_ircut_night_mode(100), 0);
    EXPECT_EQ(script.journal, night_steps());
    EXPECT_EQ(script.now_us, 200000U);
}

TEST_F(Ircut, TheLampGetsTheDutyThatWasAskedFor) {
    set_ircut_day_mode(30);
    EXPECT_TRUE(script.has("oru_api_light_brightness_set(1, 3333)"));
    set_ircut_night_mode(0);
    EXPECT_TRUE(script.has("oru_api_light_disable(1)"));
}

TEST_F(Ircut, ADutyThatIsNoneFailsTheSequenceAndTheOtherStepsAreTaken) {
    EXPECT_EQ(set_ircut_day_mode(40), -1);
    const std::string refused = "err: set_infrared_pwm_duty set infrared pwm duty: 40 error";
    EXPECT_EQ(script.journal, (Entries{"info: set_ircut_day_mode():set_ircut_day_mode", refused,
                                       "oru_api_ircut_switch(1)", "set_isp_dnmode(0)", day_failed}));
    script.journal.clear();
    EXPECT_EQ(set_ircut_night_mode(40), -1);
    EXPECT_EQ(script.journal,
              (Entries{"info: set_ircut_night_mode():set_ircut_night_mode", "usleep(200000)",
                       "oru_api_ircut_switch(0)", refused, "set_isp_dnmode(1)", night_failed}));
}

class IrcutDayStep : public Ircut, public testing::WithParamInterface<FailingStep> {};

TEST_P(IrcutDayStep, ThatFailsIsLoggedAtTheEndAndTheOthersAreTaken) {
    for (const int32_t result : {-1, 1, 64}) {
        script.journal.clear();
        script.results = {{GetParam().call, result}};
        EXPECT_EQ(set_ircut_day_mode(0), result);
        EXPECT_EQ(script.journal, joined({day_steps(), {day_failed}}));
    }
}

INSTANTIATE_TEST_SUITE_P(Of, IrcutDayStep, testing::ValuesIn(day_calls),
                         [](const auto &row) { return std::string(row.param.name); });

class IrcutNightStep : public Ircut, public testing::WithParamInterface<FailingStep> {};

TEST_P(IrcutNightStep, ThatFailsIsLoggedAtTheEndAndTheOthersAreTaken) {
    for (const int32_t result : {-1, 1, 64}) {
        script.journal.clear();
        script.results = {{GetParam().call, result}};
        EXPECT_EQ(set_ircut_night_mode(100), result);
        EXPECT_EQ(script.journal, joined({night_steps(), {night_failed}}));
    }
}

INSTANTIATE_TEST_SUITE_P(Of, IrcutNightStep, testing::ValuesIn(night_calls),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(Ircut, TheResultsOfAllStepsAreGivenTogether) {
    script.results = {{"oru_api_light_disable", 1},
                      {"oru_api_ircut_switch", 2},
                      {"set_isp_dnmode", 4},
                      {"oru_api_light_brightness_set", 8},
                      {"oru_api_light_enable", 16}};
    EXPECT_EQ(set_ircut_day_mode(0), 1 | 2 | 4);
    EXPECT_EQ(set_ircut_night_mode(100), 2 | 4 | 8 | 16);
}

} // namespace
