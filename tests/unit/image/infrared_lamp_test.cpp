// The infrared lamp: which duty gives which calls, and the steps along the duties.

#include "image/infrared_lamp.h"

#include "image/ircut.h"
#include "script/daemon_test.h"

#include <climits>

namespace {

struct Duty {
    int32_t duty;
    const char *brightness_call;
};

class InfraredLampDuty : public DaemonTest, public testing::WithParamInterface<Duty> {
  protected:
    const Entries calls_ = {GetParam().brightness_call, "oru_api_light_enable(1)"};
};

TEST_P(InfraredLampDuty, SetsItsBrightnessAndThenSwitchesTheLampOn) {
    EXPECT_EQ(set_infrared_pwm_duty(GetParam().duty), 0);
    EXPECT_EQ(script.journal, calls_);
}

TEST_P(InfraredLampDuty, SwitchesTheLampOnThoughItsBrightnessWasRefused) {
    script.results = {{"oru_api_light_brightness_set", -3}};
    EXPECT_EQ(set_infrared_pwm_duty(GetParam().duty), -3);
    EXPECT_EQ(script.journal, calls_);
}

TEST_P(InfraredLampDuty, GivesBothResultsTogether) {
    script.results = {{"oru_api_light_brightness_set", 5}, {"oru_api_light_enable", 2}};
    EXPECT_EQ(set_infrared_pwm_duty(GetParam().duty), 7);
    script.results = {{"oru_api_light_brightness_set", 0}, {"oru_api_light_enable", 2}};
    EXPECT_EQ(set_infrared_pwm_duty(GetParam().duty), 2);
}

INSTANTIATE_TEST_SUITE_P(Percent, InfraredLampDuty,
                         testing::Values(Duty{30, "oru_api_light_brightness_set(1, 3333)"},
                                         Duty{50, "oru_api_light_brightness_set(1, 5000)"},
                                         Duty{75, "oru_api_light_brightness_set(1, 7500)"},
                                         Duty{100, "oru_api_light_brightness_set(1, 10000)"}),
                         [](const auto &row) { return std::to_string(row.param.duty); });

class InfraredLamp : public DaemonTest {};

TEST_F(InfraredLamp, AtDutyZeroIsSwitchedOffWithoutABrightness) {
    EXPECT_EQ(set_infrared_pwm_duty(0), 0);
    EXPECT_EQ(script.journal, (Entries{"oru_api_light_disable(1)"}));
}

TEST_F(InfraredLamp, ThatIsNotSwitchedOffSaysSo) {
    script.results = {{"oru_api_light_disable", -9}};
    EXPECT_EQ(set_infrared_pwm_duty(0), -9);
}

TEST_F(InfraredLamp, IsNotTouchedForAnyOtherDuty) {
    for (const int32_t duty : {40, 1, 10, 29, 31, 99, 101, 3333, 10000, -1, -30, INT_MAX, INT_MIN}) {
        script.journal.clear();
        EXPECT_EQ(set_infrared_pwm_duty(duty), -1);
        EXPECT_EQ(
            script.journal,
            (Entries{script::format("err: set_infrared_pwm_duty set infrared pwm duty: %d error", duty)}));
    }
}

TEST_F(InfraredLamp, IsSteppedUpToTheFullAndThenLeftAlone) {
    for (int step = 0; step < 7; ++step) {
        EXPECT_EQ(step_infrared_pwm_duty(), 0);
    }
    EXPECT_EQ(script.journal, (Entries{"oru_api_light_brightness_set(1, 3333)", "oru_api_light_enable(1)",
                                       "oru_api_light_brightness_set(1, 5000)", "oru_api_light_enable(1)",
                                       "oru_api_light_brightness_set(1, 7500)", "oru_api_light_enable(1)",
                                       "oru_api_light_brightness_set(1, 10000)", "oru_api_light_enable(1)"}));
}

TEST_F(InfraredLamp, GivesTheResultOfAStepAndGoesOnFromIt) {
    script.results = {{"oru_api_light_enable", -4}};
    EXPECT_EQ(step_infrared_pwm_duty(), -4);
    EXPECT_EQ(ircut_controller.lamp_step, 30);
    EXPECT_EQ(step_infrared_pwm_duty(), -4);
    EXPECT_EQ(ircut_controller.lamp_step, 50);
}

TEST_F(InfraredLamp, AtTheFullNeitherFailsNorCalls) {
    ircut_controller.lamp_step = 100;
    script.results = {{"oru_api_light_enable", -4}};
    EXPECT_EQ(step_infrared_pwm_duty(), 0);
    EXPECT_EQ(script.journal, Entries{});
}

TEST_F(InfraredLamp, CannotBeSteppedFromADutyThatIsNone) {
    for (const int32_t duty : {40, 101, -1}) {
        script.journal.clear();
        ircut_controller.lamp_step = duty;
        EXPECT_EQ(step_infrared_pwm_duty(), -1);
        EXPECT_EQ(
            script.journal,
            (Entries{script::format("err: set_infrared_pwm_duty set infrared pwm duty: %d error", duty)}));
        EXPECT_EQ(ircut_controller.lamp_step, duty);
    }
}

TEST_F(InfraredLamp, IsNotAtAnotherStepBecauseItWasSetOtherwise) {
    set_infrared_pwm_duty(75);
    script.journal.clear();
    step_infrared_pwm_duty();
    EXPECT_EQ(script.journal.front(), "oru_api_light_brightness_set(1, 3333)");
}

} // namespace
