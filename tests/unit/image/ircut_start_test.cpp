// The beginning and the end of the controller.

#include "ircut_fixture.h"

#include <climits>

namespace {

constexpr char creates[] = "pthread_create(1, default)";
constexpr char enters[] = "info: oru_ircut_exit enter\n";
constexpr char init_failed[] = "err: oru_ircut_init(): init fail\n";

/* As the process starts, before main: fixtures change it later. */
struct AtStart {
    int32_t inited = ircut_controller.inited;
    int32_t running = ircut_controller.running;
    int32_t ircut_mode = ircut_controller.ircut_mode;
    bool joinable = ircut_controller.joinable;
    int32_t lamp_step = ircut_controller.lamp_step;
};
const AtStart at_start;

class IrcutStart : public Ircut {};

TEST_F(IrcutStart, FindsAllAtZeroWhenTheProcessStarts) {
    EXPECT_EQ(at_start.inited, 0);
    EXPECT_EQ(at_start.running, 0);
    EXPECT_EQ(at_start.ircut_mode, 0);
    EXPECT_FALSE(at_start.joinable);
    EXPECT_EQ(at_start.lamp_step, 0);
}

// ---- oru_ircut_init ----

TEST_F(IrcutStart, BeginsAutomatic) {
    EXPECT_EQ(ircut_controller.ircut_mode, 0);
    EXPECT_EQ(oru_ircut_init(), 0);
    EXPECT_EQ(script.journal, joined({day_steps(), {creates}}));
}

class IrcutStartMode : public Ircut, public testing::WithParamInterface<int32_t> {
  protected:
    IrcutStartMode() { ircut_controller.ircut_mode = GetParam(); }
    static bool is_night() { return GetParam() == 2; }
    static Entries steps() { return is_night() ? night_steps() : day_steps(); }
};

TEST_P(IrcutStartMode, IsAppliedKeptAndTheWorkerStartedAllTheSame) {
    EXPECT_EQ(oru_ircut_init(), 0);
    EXPECT_EQ(script.journal, joined({steps(), {creates}}));
    ASSERT_EQ(script.threads.size(), 1U);
    EXPECT_EQ(script.threads[0].body, ircut_main_pthread);
    EXPECT_EQ(script.threads[0].argument, nullptr);
    EXPECT_EQ(ircut_controller.ircut_mode, GetParam());
    EXPECT_EQ(ircut_controller.running, 1);
    EXPECT_EQ(ircut_controller.inited, 1);
}

TEST_P(IrcutStartMode, ThatCannotBeAppliedEndsTheStart) {
    for (const char *call : {"oru_api_ircut_switch", "set_isp_dnmode"}) {
        for (const int32_t result : {-1, 5}) {
            script.journal.clear();
            script.results = {{call, result}};
            EXPECT_EQ(oru_ircut_init(), -1);
            EXPECT_EQ(script.journal,
                      joined({steps(), {is_night() ? night_failed : day_failed, init_failed}}));
            EXPECT_EQ(ircut_controller.inited, 0);
            EXPECT_EQ(ircut_controller.running, 0);
            EXPECT_FALSE(lock_is_held());
        }
    }
}

TEST_P(IrcutStartMode, WhoseWorkerIsNotCreatedEndsTheStart) {
    script.pthread_create_results = {{1, -1}};
    EXPECT_EQ(oru_ircut_init(), -1);
    EXPECT_EQ(script.journal, joined({steps(), {creates, "err: oru_ircut_init():ircut task create fail\n"}}));
    EXPECT_EQ(ircut_controller.inited, 0);
    EXPECT_EQ(ircut_controller.running, 0);
    EXPECT_EQ(ircut_controller.ircut_mode, GetParam());
}

TEST_P(IrcutStartMode, TakesAPositiveResultForSuccessButNobodyJoinsAThreadThatIsNone) {
    script.pthread_create_results = {{1, EAGAIN}};
    EXPECT_EQ(oru_ircut_init(), 0);
    EXPECT_EQ(ircut_controller.inited, 1);
    EXPECT_EQ(ircut_controller.running, 1);
    EXPECT_FALSE(script.has("err: "));
    oru_ircut_exit();
    EXPECT_FALSE(script.has("pthread_join"));
    EXPECT_EQ(ircut_controller.running, 0);
}

TEST_P(IrcutStartMode, HoldsTheLockThroughout) {
    const auto held = watch_lock();
    oru_ircut_init();
    EXPECT_EQ(*held, std::vector<bool>(script.journal.size(), true));
    EXPECT_FALSE(lock_is_held());
}

TEST_P(IrcutStartMode, TellsTheWorkerToRunOnlyJustBeforeItIsCreated) {
    std::vector<int32_t> running;
    script.when("set_isp_dnmode", [&] { running.push_back(ircut_controller.running); });
    script.when("pthread_create", [&] { running.push_back(ircut_controller.running); });
    oru_ircut_init();
    EXPECT_EQ(running, (std::vector<int32_t>{0, 1}));
}

INSTANTIATE_TEST_SUITE_P(Stored, IrcutStartMode, testing::Values(0, 1, 2), testing::PrintToStringParamName());

TEST_F(IrcutStart, WithAStoredModeThatIsNoneFails) {
    for (const int32_t mode : {7, 3, -1, INT_MAX, INT_MIN}) {
        ircut_mode_switch(mode);
        script.journal.clear();
        EXPECT_EQ(oru_ircut_init(), -1);
        EXPECT_EQ(script.journal,
                  (Entries{"err: ircut_process_mode_init(): Unsupported mode\n", init_failed}));
        EXPECT_EQ(ircut_controller.inited, 0);
        EXPECT_EQ(ircut_controller.running, 0);
        EXPECT_EQ(ircut_controller.ircut_mode, mode);
        EXPECT_FALSE(lock_is_held());
    }
}

TEST_F(IrcutStart, NightStoredBeforeIsAppliedAndThenTheWorkerBeginsWithDay) {
    EXPECT_EQ(ircut_mode_switch(2), 0);
    EXPECT_EQ(script.journal,
              (Entries{"info: [ircut_mode_switch] ircut not inited, set variable: ircut_mode :2 \n"}));
    script.journal.clear();
    EXPECT_EQ(oru_ircut_init(), 0);
    ASSERT_EQ(script.threads.size(), 1U);
    script.when("usleep(500000)", [] { ircut_controller.running = 0; });
    script.threads[0].body(nullptr);
    EXPECT_EQ(script.journal, joined({night_steps(),
                                      {creates, "prctl(PR_SET_NAME, ankai_ircut_ctrl)"},
                                      day_steps(),
                                      {"usleep(200000)", "oru_api_reach_night(2, 0)", "usleep(500000)",
                                       "info: [ircut_main_pthread 258] exit succ "}}));
}

TEST_F(IrcutStart, DayStoredBeforeOnlyEndsTheWorkerWhenItIsAskedForAgain) {
    ircut_mode_switch(1);
    oru_ircut_init();
    script.journal.clear();
    EXPECT_EQ(ircut_mode_switch(1), 0);
    EXPECT_EQ(script.journal,
              (Entries{"info: [ircut_mode_switch]switch to ircut mode day \n", "pthread_join(1)"}));
}

TEST_F(IrcutStart, ASecondTimeAppliesNothingAndStartsAnotherWorker) {
    oru_ircut_init();
    script.journal.clear();
    ircut_controller.ircut_mode = 7; // not even looked at
    EXPECT_EQ(oru_ircut_init(), 0);
    EXPECT_EQ(script.journal,
              (Entries{"info: [ircut_process_mode_init] already inited\n", "pthread_create(2, default)"}));
    EXPECT_EQ(script.threads[1].body, ircut_main_pthread);
    EXPECT_EQ(ircut_controller.running, 1);
    EXPECT_EQ(ircut_controller.inited, 1);
    script.journal.clear();
    oru_ircut_exit();
    EXPECT_EQ(script.entries("pthread_join"), (Entries{"pthread_join(2)"}));
}

TEST_F(IrcutStart, ASecondTimeWhoseWorkerIsNotCreatedEndsTheFirstOneToo) {
    oru_ircut_init();
    script.journal.clear();
    script.pthread_create_results = {{2, -1}};
    EXPECT_EQ(oru_ircut_init(), -1);
    EXPECT_EQ(script.journal,
              (Entries{"info: [ircut_process_mode_init] already inited\n", "pthread_create(2, default)",
                       "err: oru_ircut_init():ircut task create fail\n"}));
    EXPECT_EQ(ircut_controller.running, 0);
    EXPECT_EQ(ircut_controller.inited, 1);
}

// ---- oru_ircut_exit ----

TEST_F(IrcutStart, EndsWithTheWorkerJoinedAndTheLampOff) {
    oru_ircut_init();
    script.journal.clear();
    int32_t running_at_join = -1;
    script.when("pthread_join", [&] { running_at_join = ircut_controller.running; });
    EXPECT_EQ(oru_ircut_exit(), 0);
    EXPECT_EQ(script.journal, (Entries{enters, "pthread_join(1)", "oru_api_light_disable(1)"}));
    EXPECT_EQ(running_at_join, 0);
    EXPECT_EQ(ircut_controller.inited, 0);
    EXPECT_EQ(ircut_controller.running, 0);
}

TEST_F(IrcutStart, EndsWithoutAWorkerToJoin) {
    oru_ircut_init();
    ircut_mode_switch(2);
    script.journal.clear();
    EXPECT_EQ(oru_ircut_exit(), 0);
    EXPECT_EQ(script.journal, (Entries{enters, "oru_api_light_disable(1)"}));
    EXPECT_EQ(ircut_controller.ircut_mode, 2);
}

TEST_F(IrcutStart, EndsAlsoWithALampThatStaysOn) {
    oru_ircut_init();
    script.results = {{"oru_api_light_disable", -1}};
    EXPECT_EQ(oru_ircut_exit(), 0);
    EXPECT_EQ(ircut_controller.inited, 0);
    EXPECT_FALSE(script.has("err: "));
}

TEST_F(IrcutStart, EndsASecondTimeWithNothingToDo) {
    oru_ircut_init();
    oru_ircut_exit();
    script.journal.clear();
    EXPECT_EQ(oru_ircut_exit(), 0);
    EXPECT_EQ(script.journal, (Entries{enters, "info: [oru_ircut_exit] already exit\n"}));
}

TEST_F(IrcutStart, EndsWithoutEverHavingBegun) {
    EXPECT_EQ(oru_ircut_exit(), 0);
    EXPECT_EQ(script.journal, (Entries{enters, "info: [oru_ircut_exit] already exit\n"}));
    EXPECT_FALSE(lock_is_held());
}

TEST_F(IrcutStart, EndsUnderTheLockButForItsFirstWord) {
    oru_ircut_init();
    script.journal.clear();
    const auto held = watch_lock();
    oru_ircut_exit();
    EXPECT_EQ(*held, (std::vector<bool>{false, true, true}));
    EXPECT_FALSE(lock_is_held());
    held->clear();
    oru_ircut_exit();
    EXPECT_EQ(*held, (std::vector<bool>{false, true}));
}

TEST_F(IrcutStart, StoresModesAgainAfterTheEnd) {
    oru_ircut_init();
    oru_ircut_exit();
    script.journal.clear();
    EXPECT_EQ(ircut_mode_switch(1), 0);
    EXPECT_EQ(script.journal,
              (Entries{"info: [ircut_mode_switch] ircut not inited, set variable: ircut_mode :1 \n"}));
}

TEST_F(IrcutStart, BeginsAgainAfterTheEnd) {
    oru_ircut_init();
    oru_ircut_exit();
    script.journal.clear();
    EXPECT_EQ(oru_ircut_init(), 0);
    EXPECT_EQ(script.journal, joined({day_steps(), {"pthread_create(2, default)"}}));
}

} // namespace
