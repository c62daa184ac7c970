// The worker: when it asks, when it switches, how long it waits. Time is virtual.

#include "ircut_fixture.h"

#include "settings/device_status.h"

namespace {

class IrcutWorker : public Ircut {
  protected:
    /* Runs the worker for so many looks (or rests); what it did after its beginning. */
    Entries run(size_t looks) {
        script.journal.clear();
        ircut_controller.running = 1;
        looks_left_ = looks;
        watch_waits();
        EXPECT_EQ(ircut_main_pthread(nullptr), nullptr);
        EXPECT_EQ(script.journal.back(), exits);
        Entries result = script.journal;
        EXPECT_GE(result.size(), beginning().size());
        result.erase(result.begin(), result.begin() + static_cast<ptrdiff_t>(beginning().size()));
        result.pop_back();
        return result;
    }

    static Entries beginning() {
        return joined({{"prctl(PR_SET_NAME, ankai_ircut_ctrl)"}, day_steps(), {"usleep(200000)"}});
    }

    static Entries goes_to_night() {
        return joined({{"oru_api_reach_night(0, 0)"},
                       night_steps(),
                       {"info: ircut_main_pthread(): set mode night!!!!", "usleep(200000)", look}});
    }
    static Entries goes_to_day() {
        return joined({{"oru_api_reach_day(0, scratch, 0)"},
                       day_steps(),
                       {"info: ircut_main_pthread(): set mode day!!!!", "usleep(200000)", look}});
    }

    void dark(int32_t answer = 1) { script.results["oru_api_reach_night"] = answer; }
    void bright(int32_t answer = 1) { script.results["oru_api_reach_day"] = answer; }

    static constexpr char look[] = "usleep(500000)";
    static constexpr char rest[] = "sleep(1)";
    static constexpr char exits[] = "info: [ircut_main_pthread 258] exit succ ";

  private:
    void watch_waits() {
        const auto count = [this] {
            if (--looks_left_ == 0) {
                ircut_controller.running = 0;
            } else {
                watch_waits();
            }
        };
        // Whichever comes first; the other one is of no account then, for the count has gone on.
        const auto token = std::make_shared<bool>(true);
        for (const char *wait : {look, rest}) {
            script.when(wait, [token, count] {
                if (*token) {
                    *token = false;
                    count();
                }
            });
        }
    }
    size_t looks_left_ = 0;
};

// ---- the beginning and the end ----

TEST_F(IrcutWorker, NamesItselfBeginsWithDayAndWaits) {
    EXPECT_EQ(run(1), (Entries{"oru_api_reach_night(0, 0)", look}));
    EXPECT_EQ(script.journal, joined({beginning(), {"oru_api_reach_night(0, 0)", look}, {exits}}));
    EXPECT_EQ(script.now_us, 700000U);
}

class IrcutWorkerFirstDay : public IrcutWorker, public testing::WithParamInterface<FailingStep> {};

TEST_P(IrcutWorkerFirstDay, ThatFailsIsLoggedAndNotWaitedFor) {
    script.results = {{GetParam().call, -7}};
    run(1);
    EXPECT_EQ(script.journal, joined({{"prctl(PR_SET_NAME, ankai_ircut_ctrl)"},
                                      day_steps(),
                                      {day_failed, "err: ircut_main_pthread():day mode set fail ret = -7\n",
                                       "oru_api_reach_night(0, 0)", look, exits}}));
}

INSTANTIATE_TEST_SUITE_P(Of, IrcutWorkerFirstDay, testing::ValuesIn(day_calls),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(IrcutWorker, ToldToEndBeforeItHasBegunTakesItsFirstStepOnly) {
    ircut_controller.running = 0;
    ircut_main_pthread(nullptr);
    EXPECT_EQ(script.journal, joined({beginning(), {exits}}));
}

TEST_F(IrcutWorker, GoesOnWhenItCannotBeNamed) {
    script.prctl_result = -1;
    EXPECT_EQ(run(1), (Entries{"oru_api_reach_night(0, 0)", look}));
}

TEST_F(IrcutWorker, DoesNotLookAtTheProcessesRunFlag) {
    device_status.running = 0;
    EXPECT_EQ(run(2).size(), 4U);
}

TEST_F(IrcutWorker, NeverTakesTheLock) {
    dark();
    bright();
    pthread_mutex_lock(&ircut_controller.lock); // else it would wait for ever
    run(3);
    pthread_mutex_unlock(&ircut_controller.lock);
    EXPECT_EQ(script.count("info: ircut_main_pthread(): set mode"), 3U);
}

// ---- looking ----

TEST_F(IrcutWorker, ByDayAsksForNightTwiceASecond) {
    EXPECT_EQ(run(3), (Entries{"oru_api_reach_night(0, 0)", look, "oru_api_reach_night(0, 0)", look,
                               "oru_api_reach_night(0, 0)", look}));
    EXPECT_EQ(script.now_us, 200000U + 3 * 500000U);
}

TEST_F(IrcutWorker, PassesTheModeAsItIsAtEachLook) {
    ircut_controller.ircut_mode = 2;
    dark();
    script.when("oru_api_reach_night(2", [] { ircut_controller.ircut_mode = -5; });
    run(2);
    EXPECT_EQ(script.entries("oru_api_reach"),
              (Entries{"oru_api_reach_night(2, 0)", "oru_api_reach_day(-5, scratch, 0)"}));
}

TEST_F(IrcutWorker, GoesToNightAtTheFirstYesAndThenAsksForDay) {
    dark();
    EXPECT_EQ(run(3), joined({goes_to_night(),
                              {"oru_api_reach_day(0, scratch, 0)", look},
                              {"oru_api_reach_day(0, scratch, 0)", look}}));
    EXPECT_EQ(script.now_us, 200000U + 200000U + 200000U + 3 * 500000U);
}

TEST_F(IrcutWorker, GoesBackToDayAtTheFirstYesAndThenAsksForNight) {
    dark();
    bright();
    script.when("oru_api_reach_day", [this] { dark(0); });
    EXPECT_EQ(run(3), joined({goes_to_night(), goes_to_day(), {"oru_api_reach_night(0, 0)", look}}));
    EXPECT_EQ(script.now_us, 200000U + (200000U + 200000U) + 200000U + 3 * 500000U);
}

TEST_F(IrcutWorker, TakesEveryAnswerButZeroForYes) {
    for (const int32_t yes : {-1, 2, 1000}) {
        dark(yes);
        bright(yes);
        EXPECT_EQ(run(2), joined({goes_to_night(), goes_to_day()})) << yes;
    }
}

TEST_F(IrcutWorker, LooksForOneOfTheTwoOnly) {
    bright();
    EXPECT_EQ(run(2), (Entries{"oru_api_reach_night(0, 0)", look, "oru_api_reach_night(0, 0)", look}));
}

TEST_F(IrcutWorker, IsToldToEndInTheMiddleOfASequenceAndFinishesIt) {
    dark();
    script.when("info: set_ircut_night_mode", [] { ircut_controller.running = 0; });
    EXPECT_EQ(run(5), goes_to_night());
}

TEST_F(IrcutWorker, BeginsByDayEachTime) {
    dark();
    run(1);
    EXPECT_EQ(run(1), goes_to_night());
}

// ---- sequences that fail ----

class IrcutWorkerNight : public IrcutWorker, public testing::WithParamInterface<FailingStep> {};

TEST_P(IrcutWorkerNight, ThatFailsIsTriedAgainAtTheNextLookAsLongAsItIsDark) {
    dark();
    const auto mend = [this] { script.results.erase(GetParam().call); };
    script.when("info: set_ircut_night_mode", [this] { script.results[GetParam().call] = 9; });
    script.when("err:  ircut_main_pthread", mend, 2);
    const Entries failure =
        joined({{"oru_api_reach_night(0, 0)"},
                night_steps(),
                {night_failed, "err:  ircut_main_pthread():night mode set fail ret = 9\n", look}});
    EXPECT_EQ(run(4),
              joined({failure, failure, goes_to_night(), {"oru_api_reach_day(0, scratch, 0)", look}}));
}

INSTANTIATE_TEST_SUITE_P(Of, IrcutWorkerNight, testing::ValuesIn(night_calls),
                         [](const auto &row) { return std::string(row.param.name); });

class IrcutWorkerDay : public IrcutWorker, public testing::WithParamInterface<FailingStep> {};

TEST_P(IrcutWorkerDay, ThatFailsIsTriedAgainAtTheNextLookAsLongAsItIsBright) {
    dark();
    bright();
    script.when("oru_api_reach_day", [this] { script.results[GetParam().call] = -3; });
    script.when(
        "err:  ircut_main_pthread", [this] { script.results.erase(GetParam().call); }, 2);
    const Entries failure =
        joined({{"oru_api_reach_day(0, scratch, 0)"},
                day_steps(),
                {day_failed, "err:  ircut_main_pthread():day mode set fail ret = -3\n", look}});
    EXPECT_EQ(run(5), joined({goes_to_night(), failure, failure, goes_to_day(), goes_to_night()}));
}

INSTANTIATE_TEST_SUITE_P(Of, IrcutWorkerDay, testing::ValuesIn(day_calls),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(IrcutWorker, AfterANightThatFailedStopsTryingWhenItIsNoLongerDark) {
    dark();
    script.when("info: set_ircut_night_mode", [this] {
        script.results["set_isp_dnmode"] = -1;
        dark(0);
    });
    run(3);
    EXPECT_EQ(script.count("info: set_ircut_night_mode"), 1U);
    EXPECT_EQ(script.count("oru_api_reach_night"), 3U);
}

// ---- switched off ----

TEST_F(IrcutWorker, SwitchedOffByDayAsksNobodyAndLooksOnceASecond) {
    dark();
    for (const int power : {0, 2, 255}) { // only 1 is on
        device_status.power = static_cast<uint8_t>(power);
        const uint64_t begin_us = script.now_us;
        EXPECT_EQ(run(3), (Entries{rest, rest, rest})) << power;
        EXPECT_EQ(script.now_us - begin_us, 200000U + 3 * 1000000U);
    }
}

TEST_F(IrcutWorker, SwitchedOffByNightGoesToDayOnce) {
    dark();
    script.when(look, [] { device_status.power = 0; });
    EXPECT_EQ(run(3), joined({goes_to_night(), day_steps(), {rest, rest}}));
}

TEST_F(IrcutWorker, SwitchedOffByNightTakesADayThatFailsForDay) {
    dark();
    script.when(look, [this] {
        device_status.power = 0;
        script.results["oru_api_ircut_switch"] = -1;
    });
    EXPECT_EQ(run(3), joined({goes_to_night(), day_steps(), {day_failed, rest, rest}}));
}

TEST_F(IrcutWorker, SwitchedOnAgainAsksForNight) {
    dark();
    script.when(look, [this] {
        device_status.power = 0;
        dark(0);
    });
    script.when(
        rest, [] { device_status.power = 1; }, 2);
    EXPECT_EQ(run(4),
              joined({goes_to_night(), day_steps(), {rest, rest, "oru_api_reach_night(0, 0)", look}}));
}

TEST_F(IrcutWorker, SwitchedOffIsToldToEndAfterItsRest) {
    device_status.power = 0;
    EXPECT_EQ(run(1), (Entries{rest}));
}

} // namespace
