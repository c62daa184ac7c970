// The day/night rule in virtual time: asked as the daemon does, under skies made by the test.

#include "oru_util/day_night_rule.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace {

using oru::DayNightRule;

constexpr double ask_s = 0.5;
constexpr double switch_s = 0.7; /* an ask's pause and what the switch itself takes */

/* A camera under a sky: switches as soon as the rule says so. */
class Camera {
  public:
    struct Optics {
        double infrared = 0.3; /* of the sky's light, what the filter keeps out */
        double lamp_lux = 12;
        double noise = 0; /* deviation of each look, relative */
    };

    explicit Camera(const Optics &optics, uint32_t seed = 1) : optics_(optics), random_(seed) {}

    /* Lives for so long under a sky of `lux(time)`. */
    void live(double seconds, const std::function<double(double)> &lux) {
        const double end_s = time_s_ + seconds;
        while (time_s_ < end_s) {
            const uint64_t now_us = us(time_s_);
            const bool yes = night_ ? rule_.reach_day(look(lux(time_s_)), now_us)
                                    : rule_.reach_night(look(lux(time_s_)), now_us);
            if (yes) {
                night_ = !night_;
                switches_.push_back(time_s_);
            }
            time_s_ += yes ? switch_s : ask_s;
        }
    }
    void live(double seconds, double lux) {
        live(seconds, [lux](double) { return lux; });
    }

    board::LightSeenRecord look(double lux) {
        std::normal_distribution<double> noise(1, optics_.noise);
        const double seen = night_ ? lux * (1 + optics_.infrared) + optics_.lamp_lux : lux;
        const double noisy = optics_.noise > 0 ? seen * std::max(noise(random_), 0.0) : seen;
        return {static_cast<uint32_t>(noisy * 1000), 1000, night_ ? 0 : 1, night_ ? 10000 : 0};
    }

    static uint64_t us(double seconds) { return static_cast<uint64_t>((seconds + 1000) * 1e6); }

    bool night() const { return night_; }
    double time_s() const { return time_s_; }
    const std::vector<double> &switches() const { return switches_; }
    DayNightRule &rule() { return rule_; }

  private:
    Optics optics_;
    std::mt19937 random_;
    DayNightRule rule_;
    bool night_ = false;
    double time_s_ = 0;
    std::vector<double> switches_;
};

/* From `high` to `low` lux and back within `period_s`, even in logarithms. */
std::function<double(double)> cycle(double period_s, double high = 1000, double low = 0.1) {
    return [=](double time_s) {
        const double middle = (std::log(high) + std::log(low)) / 2;
        const double swing = (std::log(high) - std::log(low)) / 2;
        return std::exp(middle + swing * std::cos(2 * M_PI * time_s / period_s));
    };
}

TEST(DayNightRuleTest, DuskIsNightAndDawnIsDay) {
    Camera camera({});
    camera.live(30, 100);
    EXPECT_TRUE(camera.switches().empty());
    camera.live(10, 0.5);
    EXPECT_TRUE(camera.night());
    camera.live(60, 0.5);
    camera.live(10, 100);
    EXPECT_FALSE(camera.night());
    EXPECT_EQ(camera.switches().size(), 2U);
}

TEST(DayNightRuleTest, NightTakesTwoSecondsOfDarkness) {
    Camera camera({});
    camera.live(30, 100);
    const double dark_s = camera.time_s();
    camera.live(10, 0.5);
    ASSERT_EQ(camera.switches().size(), 1U);
    EXPECT_NEAR(camera.switches()[0] - dark_s, 1.5, 0.01) << "the fourth ask in a row";
}

TEST(DayNightRuleTest, DayTakesFourSecondsOfLight) {
    Camera camera({});
    camera.live(30, 0.5);
    ASSERT_TRUE(camera.night());
    const double bright_s = camera.time_s();
    camera.live(10, 100);
    ASSERT_EQ(camera.switches().size(), 2U);
    EXPECT_NEAR(camera.switches()[1] - bright_s, 3.5, 0.01) << "the eighth ask in a row";
}

TEST(DayNightRuleTest, ShadowsAndHeadlampsPassUnnoticed) {
    Camera camera({});
    camera.live(20, 100);
    for (int i = 0; i < 20; ++i) {
        camera.live(1.5, 0.1);
        camera.live(0.5, 100);
    }
    EXPECT_TRUE(camera.switches().empty());
    camera.live(20, 0.1);
    ASSERT_TRUE(camera.night());
    for (int i = 0; i < 20; ++i) {
        camera.live(3.5, 1000);
        camera.live(0.5, 0.1);
    }
    EXPECT_TRUE(camera.night());
}

TEST(DayNightRuleTest, LightBetweenTheThresholdsChangesNothing) {
    Camera camera({});
    camera.live(600, 2.5);
    EXPECT_FALSE(camera.night());
    camera.live(30, 0.1);
    ASSERT_TRUE(camera.night());
    camera.live(600, 2.5);
    EXPECT_TRUE(camera.night());
}

TEST(DayNightRuleTest, TheLampIsNotTakenForTheSun) {
    for (const double lamp_lux : {0.0, 1.0, 12.0, 95.0}) {
        Camera camera({0.3, lamp_lux, 0});
        camera.live(30, 100);
        camera.live(3600, 0.5);
        EXPECT_EQ(camera.switches().size(), 1U) << lamp_lux;
        camera.live(10, 50);
        EXPECT_FALSE(camera.night()) << lamp_lux;
    }
}

TEST(DayNightRuleTest, WhatTheFilterKeptOutIsNotTakenForTheSun) {
    // A bulb shines infrared above all: ten times of it.
    Camera camera({10, 0, 0});
    camera.live(30, 100);
    camera.live(3600, 1.9);
    EXPECT_EQ(camera.switches().size(), 1U);
}

TEST(DayNightRuleTest, SomethingCloseBeforeTheLampDeceivesItOnce) {
    Camera camera({});
    camera.live(30, 0.1);
    ASSERT_TRUE(camera.night());
    DayNightRule &rule = camera.rule();
    double time_s = camera.time_s();
    const auto seen = [](uint32_t mlux) { return board::LightSeenRecord{mlux, 1000, 0, 10000}; };
    bool day = false;
    for (int i = 0; i < 8; ++i, time_s += ask_s) {
        day = rule.reach_day(seen(30'000), Camera::us(time_s));
    }
    ASSERT_TRUE(day) << "the lamp comes back from it";
    bool night = false;
    for (int i = 0; i < 12; ++i, time_s += ask_s) {
        night = rule.reach_night({100, 1000, 1, 0}, Camera::us(time_s));
    }
    ASSERT_TRUE(night);
    for (int i = 0; i < 1000; ++i, time_s += ask_s) {
        ASSERT_FALSE(rule.reach_day(seen(30'000), Camera::us(time_s)));
    }
}

TEST(DayNightRuleTest, ARoomThatLightsUpInTheWrongSecondIsNotLostForTheDay) {
    Camera camera({});
    camera.live(30, 100);
    camera.live(2.6, 0.5);
    ASSERT_TRUE(camera.night());
    camera.live(30, 300);
    EXPECT_FALSE(camera.night());
}

TEST(DayNightRuleTest, NothingIsReachedRightAfterASwitch) {
    // Light that changes faster than the rule allows.
    Camera camera({});
    camera.live(600, [](double time_s) { return std::fmod(time_s, 9) < 4.5 ? 0.1 : 100; });
    const std::vector<double> &switches = camera.switches();
    ASSERT_GT(switches.size(), 5U) << "it follows as well as it may";
    for (size_t i = 1; i < switches.size(); ++i) {
        EXPECT_GE(switches[i] - switches[i - 1], 5.0);
    }
}

TEST(DayNightRuleTest, TheFirstAskIsTakenForASwitch) {
    Camera camera({});
    camera.live(30, 0.1);
    ASSERT_EQ(camera.switches().size(), 1U);
    EXPECT_NEAR(camera.switches()[0], 5, 0.01);
}

TEST(DayNightRuleTest, YesIsRepeatedUntilTheCallerHasSwitched) {
    DayNightRule rule;
    const board::LightSeenRecord dark = {100, 1000, 1, 0};
    double time_s = 0;
    for (; time_s < 10; time_s += ask_s) {
        rule.reach_night(dark, Camera::us(time_s));
    }
    for (int i = 0; i < 5; ++i, time_s += ask_s) {
        EXPECT_TRUE(rule.reach_night(dark, Camera::us(time_s))) << "its switch has failed";
    }
    EXPECT_FALSE(rule.reach_night({100'000, 1000, 1, 0}, Camera::us(time_s)));
}

/* Asks `ask` every 500 ms until it says yes, `seconds` at most. Result: after how many seconds, or -1. */
double asked_until_yes(double *time_s, double seconds, const std::function<bool(uint64_t)> &ask) {
    const double begin_s = *time_s;
    while (*time_s - begin_s <= seconds) {
        const double now_s = *time_s;
        *time_s += ask_s;
        if (ask(Camera::us(now_s))) {
            return now_s - begin_s;
        }
    }
    return -1;
}

TEST(DayNightRuleTest, ASwitchToNightThatHalfFailedIsAskedForAgain) {
    // The caller takes it for day, the filter is out of the way: whatever the lamp does, and the light.
    for (const int32_t lamp : {0, 5000, 10000}) {
        for (const uint32_t seen_mlux : {100U, 12'400U, 200'000U}) {
            DayNightRule rule;
            double time_s = 0;
            ASSERT_GE(asked_until_yes(&time_s, 10,
                                      [&](uint64_t now_us) {
                                          return rule.reach_night({100, 1000, 1, 0}, now_us);
                                      }),
                      0);
            const board::LightSeenRecord half = {seen_mlux, 1000, 0, lamp};
            const auto ask = [&](uint64_t now_us) { return rule.reach_night(half, now_us); };
            EXPECT_NEAR(asked_until_yes(&time_s, 10, ask), 1, 0.01) << "as soon as it has settled";
            for (int i = 0; i < 20; ++i, time_s += ask_s) {
                ASSERT_TRUE(ask(Camera::us(time_s))) << "until the caller has switched";
            }
            EXPECT_FALSE(rule.reach_day({100, 1000, 0, 10000}, Camera::us(time_s)));
        }
    }
}

TEST(DayNightRuleTest, ASwitchToDayThatHalfFailedIsAskedForAgain) {
    for (const int32_t lamp : {0, 10000}) {
        for (const uint32_t seen_mlux : {100U, 50'000U, 200'000U}) {
            Camera camera({});
            camera.live(30, 0.1);
            ASSERT_TRUE(camera.night());
            double time_s = camera.time_s();
            const board::LightSeenRecord half = {seen_mlux, 1000, 1, lamp};
            const auto ask = [&](uint64_t now_us) { return camera.rule().reach_day(half, now_us); };
            EXPECT_NEAR(asked_until_yes(&time_s, 10, ask), 1, 0.01) << "as soon as it has settled";
            for (int i = 0; i < 20; ++i, time_s += ask_s) {
                ASSERT_TRUE(ask(Camera::us(time_s))) << "until the caller has switched";
            }
        }
    }
}

TEST(DayNightRuleTest, ADayThatIsFoundInTheDarkIsFollowedByNight) {
    DayNightRule rule;
    double time_s = 0;
    const auto day = [&](uint64_t now_us) { return rule.reach_day({100, 1000, 1, 0}, now_us); };
    ASSERT_GE(asked_until_yes(&time_s, 10, day), 0);
    const auto night = [&](uint64_t now_us) { return rule.reach_night({100, 1000, 1, 0}, now_us); };
    EXPECT_GE(asked_until_yes(&time_s, 10, night), 0);
}

TEST(DayNightRuleTest, DaylightIsNotTakenForALampThatHasGoneOff) {
    // Of the switch to day only the lamp's part was done; the same when somebody else switches it off.
    for (const double lux : {20.0, 30.0, 90.0}) {
        Camera camera({});
        camera.live(30, 0.1);
        ASSERT_TRUE(camera.night());
        double time_s = camera.time_s();
        const board::LightSeenRecord half = {static_cast<uint32_t>(lux * 1300), 1000, 0, 0};
        const auto ask = [&](uint64_t now_us) { return camera.rule().reach_day(half, now_us); };
        EXPECT_NEAR(asked_until_yes(&time_s, 20, ask), 5, 0.01) << lux;
        EXPECT_LT(asked_until_yes(&time_s, 20,
                                  [&](uint64_t now_us) {
                                      return camera.rule().reach_day({100, 1000, 0, 0}, now_us);
                                  }),
                  0)
            << "and darkness for no day";
    }
}

TEST(DayNightRuleTest, ANoisyNightStaysNightAndANoisyDayStaysDay) {
    for (uint32_t seed = 1; seed <= 20; ++seed) {
        Camera camera({0.3, 12, 0.1}, seed);
        camera.live(30, 0.3);
        ASSERT_TRUE(camera.night());
        camera.live(3600, 0.3);
        EXPECT_EQ(camera.switches().size(), 1U) << "the lamp is not the sun";
        camera.live(3600, 100);
        EXPECT_EQ(camera.switches().size(), 2U) << "and it does not become night without it";
    }
}

TEST(DayNightRuleTest, ABlindMomentOrAPauseBeginsAnew) {
    DayNightRule rule;
    const board::LightSeenRecord dark = {100, 1000, 1, 0};
    const auto ask = [&](double time_s) { return rule.reach_night(dark, Camera::us(time_s)); };
    for (double time_s = 0; time_s < 10; time_s += ask_s) {
        ask(time_s);
    }
    rule.blind();
    EXPECT_FALSE(ask(10));
    EXPECT_FALSE(ask(10.5));
    EXPECT_FALSE(ask(11));
    EXPECT_TRUE(ask(11.5));
    EXPECT_FALSE(ask(100)) << "who knows what was meanwhile";
    EXPECT_FALSE(ask(100.5));
    EXPECT_FALSE(ask(101));
    EXPECT_TRUE(ask(101.5));
}

TEST(DayNightRuleTest, ExtremeReadingsDoNoHarm) {
    DayNightRule rule;
    uint32_t seen = 0;
    for (int i = 0; i < 1000; ++i) {
        const double time_s = i * ask_s;
        seen = seen == 0 ? UINT32_MAX : 0;
        rule.reach_day({seen, 0, INT32_MIN, INT32_MAX}, Camera::us(time_s));
        rule.reach_night({seen, 0, INT32_MIN, INT32_MAX}, Camera::us(time_s));
    }
    bool day = false;
    for (int i = 1000; i < 1020; ++i) {
        day = rule.reach_day({UINT32_MAX, 0, INT32_MIN, INT32_MAX}, Camera::us(i * ask_s));
    }
    EXPECT_TRUE(day);
}

/* ---- whole days ---- */

struct Days {
    double period_s;
    double noise;
    int days;
    uint32_t seeds;
};

class DayNightCycle : public testing::TestWithParam<Days> {};

/* Many days for each row: one switch at each dusk and one at each dawn, none between. */
TEST_P(DayNightCycle, HasOneSwitchAtDuskAndOneAtDawn) {
    const auto [period_s, noise, days, seeds] = GetParam();
    for (uint32_t seed = 1; seed <= seeds; ++seed) {
        Camera camera({0.3, 12, noise}, seed);
        camera.live(days * period_s, cycle(period_s));
        ASSERT_EQ(camera.switches().size(), static_cast<size_t>(2 * days)) << "seed " << seed;
        for (size_t i = 0; i < camera.switches().size(); ++i) {
            const double part = std::fmod(camera.switches()[i] / period_s, 1);
            ASSERT_TRUE(i % 2 == 0 ? part > 0.25 && part < 0.5 : part > 0.5 && part < 0.9)
                << "seed " << seed << ", at " << part << " of the day";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(OneMinuteAndMore, DayNightCycle,
                         testing::Values(Days{60, 0, 200, 1}, Days{60, 0.1, 200, 20}, Days{1200, 0, 20, 1},
                                         Days{1200, 0.1, 20, 20}, Days{86400, 0.1, 3, 10}),
                         [](const auto &test) {
                             return std::to_string(static_cast<int>(test.param.period_s)) + "Seconds" +
                                    (test.param.noise > 0 ? "WithNoise" : "");
                         });

/* Light that stays near a threshold for hours, and wanders over it and back by less than the gap. */
TEST(DayNightRuleTest, NeverFlapsHoweverTheLightWandersWithinTheGap) {
    std::mt19937 random(7);
    std::normal_distribution<double> step(0, 0.05);
    for (uint32_t seed = 1; seed <= 200; ++seed) {
        Camera camera({0.3, 12, 0.1}, seed);
        double logarithm = std::log(2.0);
        camera.live(3600, [&](double) {
            logarithm = std::clamp(logarithm + step(random), std::log(1.4), std::log(2.9));
            return std::exp(logarithm);
        });
        EXPECT_LE(camera.switches().size(), 1U) << "seed " << seed;
    }
}

} // namespace
