// ircut_mode_switch: each mode in each condition of the controller.

#include "ircut_fixture.h"

#include <algorithm>
#include <climits>

namespace {

using Entries = std::vector<std::string>;

constexpr char to_automatic[] = "info: [ircut_mode_switch]switch to ircut mode auto\n";
constexpr char to_day[] = "info: [ircut_mode_switch]switch to ircut mode day \n";
constexpr char to_night[] = "info: [ircut_mode_switch]switch to ircut mode night\n";
constexpr char joins[] = "pthread_join(42)";
constexpr char creates[] = "pthread_create(1, default)";

enum class Applied { nothing, day, night };

/* Asked for `mode` in this condition, what happens. */
struct Condition {
    int32_t mode;
    bool inited;
    bool running; // the worker
    bool same;    // the mode is in force already
    Entries before_sequence;
    Applied applied;
    int32_t running_after;
};

std::string stored(int32_t mode) {
    return script::format("info: [ircut_mode_switch] ircut not inited, set variable: ircut_mode :%d \n",
                          mode);
}

const Condition conditions[] = {
    // not inited: the mode is stored and nothing else happens
    {0, false, false, false, {stored(0)}, Applied::nothing, 0},
    {0, false, false, true, {stored(0)}, Applied::nothing, 0},
    {0, false, true, false, {stored(0)}, Applied::nothing, 1},
    {0, false, true, true, {stored(0)}, Applied::nothing, 1},
    {1, false, false, false, {stored(1)}, Applied::nothing, 0},
    {1, false, false, true, {stored(1)}, Applied::nothing, 0},
    {1, false, true, false, {stored(1)}, Applied::nothing, 1},
    {1, false, true, true, {stored(1)}, Applied::nothing, 1},
    {2, false, false, false, {stored(2)}, Applied::nothing, 0},
    {2, false, false, true, {stored(2)}, Applied::nothing, 0},
    {2, false, true, false, {stored(2)}, Applied::nothing, 1},
    {2, false, true, true, {stored(2)}, Applied::nothing, 1},
    // automatic
    {0, true, false, false, {to_automatic, creates}, Applied::nothing, 1},
    {0, true, false, true, {to_automatic}, Applied::nothing, 0},
    {0, true, true, false, {to_automatic}, Applied::nothing, 1},
    {0, true, true, true, {to_automatic}, Applied::nothing, 1},
    // day
    {1, true, false, false, {to_day}, Applied::day, 0},
    {1, true, false, true, {to_day}, Applied::nothing, 0},
    {1, true, true, false, {to_day, joins}, Applied::day, 0},
    {1, true, true, true, {to_day, joins}, Applied::nothing, 0},
    // night
    {2, true, false, false, {to_night}, Applied::night, 0},
    {2, true, false, true, {to_night}, Applied::nothing, 0},
    {2, true, true, false, {to_night, joins}, Applied::night, 0},
    {2, true, true, true, {to_night, joins}, Applied::nothing, 0},
};

class IrcutModeSwitch : public Ircut, public testing::WithParamInterface<Condition> {
  protected:
    const Condition &row_ = GetParam();

    static Entries sequence() {
        switch (GetParam().applied) {
        case Applied::day:
            return day_steps();
        case Applied::night:
            return night_steps();
        default:
            return {};
        }
    }

    void arrange(int32_t mode_before) {
        script.journal.clear();
        script.threads.clear();
        ircut_controller.inited = row_.inited ? 1 : 0;
        ircut_controller.ircut_mode = mode_before;
        pretend_worker(row_.running);
    }

    /* The modes that may be in force before. */
    std::vector<int32_t> modes_before() const {
        if (row_.same) {
            return {row_.mode};
        }
        return {(row_.mode + 1) % 3, (row_.mode + 2) % 3, 7};
    }
};

TEST_P(IrcutModeSwitch, DoesExactlyThis) {
    for (const int32_t before : modes_before()) {
        arrange(before);
        EXPECT_EQ(ircut_mode_switch(row_.mode), 0) << before;
        EXPECT_EQ(script.journal, joined({row_.before_sequence, sequence()})) << before;
        EXPECT_EQ(ircut_controller.ircut_mode, row_.mode) << before;
        EXPECT_EQ(ircut_controller.running, row_.running_after) << before;
        EXPECT_EQ(ircut_controller.inited, row_.inited ? 1 : 0) << before;
    }
}

TEST_P(IrcutModeSwitch, ReportsEachStepThatFailsAndStaysInTheNewMode) {
    const bool day = row_.applied == Applied::day;
    const Entries complaint =
        day ? Entries{day_failed, "err: [ircut_mode_switch 310] set night to day fail \n"}
            : Entries{night_failed, "err: [ircut_mode_switch 327] set day to night fail \n"};
    for (const char *call : {"oru_api_ircut_switch", "oru_api_light_disable", "oru_api_light_brightness_set",
                             "oru_api_light_enable", "set_isp_dnmode"}) {
        const Entries steps = sequence();
        const bool concerns = std::any_of(steps.begin(), steps.end(), [&](const auto &step) {
            return step.rfind(std::string(call) + "(", 0) == 0;
        });
        arrange(modes_before().front());
        script.results = {{call, -6}};
        EXPECT_EQ(ircut_mode_switch(row_.mode), concerns ? -6 : 0) << call;
        EXPECT_EQ(script.journal, joined({row_.before_sequence, steps, concerns ? complaint : Entries{}}))
            << call;
        EXPECT_EQ(ircut_controller.ircut_mode, row_.mode);
        EXPECT_EQ(ircut_controller.running, row_.running_after);
    }
}

TEST_P(IrcutModeSwitch, HoldsTheLockThroughout) {
    arrange(modes_before().front());
    const auto held = watch_lock();
    ircut_mode_switch(row_.mode);
    EXPECT_EQ(*held, std::vector<bool>(script.journal.size(), true));
    EXPECT_FALSE(lock_is_held());
}

TEST_P(IrcutModeSwitch, EndsTheWorkerBeforeItTouchesAnything) {
    arrange(modes_before().front());
    int32_t running_at_join = 0;
    script.when("pthread_join", [&] { running_at_join = ircut_controller.running; });
    ircut_mode_switch(row_.mode);
    EXPECT_EQ(running_at_join, 0);
}

std::string name_of(const testing::TestParamInfo<Condition> &row) {
    constexpr const char *names[] = {"Automatic", "Day", "Night"};
    return std::string(names[row.param.mode]) + (row.param.inited ? "Inited" : "NotInited") +
           (row.param.running ? "WorkerRunning" : "NoWorker") + (row.param.same ? "SameMode" : "OtherMode");
}

INSTANTIATE_TEST_SUITE_P(To, IrcutModeSwitch, testing::ValuesIn(conditions), name_of);

class IrcutMode : public Ircut {
  protected:
    IrcutMode() { ircut_controller.inited = 1; }
};

TEST_F(IrcutMode, ThatIsNoneIsIgnoredOnceInited) {
    for (const int32_t mode : {7, 3, -1, INT_MAX, INT_MIN}) {
        ircut_controller.ircut_mode = 2;
        pretend_worker(true);
        EXPECT_EQ(ircut_mode_switch(mode), 0);
        EXPECT_EQ(script.journal, Entries{});
        EXPECT_EQ(ircut_controller.ircut_mode, 2);
        EXPECT_EQ(ircut_controller.running, 1);
        EXPECT_FALSE(lock_is_held());
    }
}

TEST_F(IrcutMode, ThatIsNoneIsStoredBefore) {
    ircut_controller.inited = 0;
    for (const int32_t mode : {7, -1, INT_MAX, INT_MIN}) {
        script.journal.clear();
        EXPECT_EQ(ircut_mode_switch(mode), 0);
        EXPECT_EQ(script.journal, (Entries{stored(mode)}));
        EXPECT_EQ(ircut_controller.ircut_mode, mode);
    }
}

TEST_F(IrcutMode, IsChangedBeforeItIsApplied) {
    std::vector<int32_t> modes;
    script.when("info: set_ircut_day_mode", [&] { modes.push_back(ircut_controller.ircut_mode); });
    script.when("info: set_ircut_night_mode", [&] { modes.push_back(ircut_controller.ircut_mode); });
    script.when("pthread_create", [&] { modes.push_back(ircut_controller.ircut_mode); });
    ircut_mode_switch(1);
    ircut_mode_switch(2);
    ircut_mode_switch(0);
    EXPECT_EQ(modes, (std::vector<int32_t>{1, 2, 0}));
}

TEST_F(IrcutMode, AutomaticStartsTheWorkerThatIsToldToRunBefore) {
    ircut_controller.ircut_mode = 1;
    int32_t running = 0;
    script.when("pthread_create", [&] { running = ircut_controller.running; });
    ircut_mode_switch(0);
    EXPECT_EQ(running, 1);
    ASSERT_EQ(script.threads.size(), 1U);
    EXPECT_EQ(script.threads[0].body, ircut_main_pthread);
    EXPECT_EQ(script.threads[0].argument, nullptr);
}

TEST_F(IrcutMode, AutomaticWhoseWorkerIsNotCreatedIsLoggedAndStays) {
    ircut_controller.ircut_mode = 1;
    script.pthread_create_results = {{1, -11}};
    EXPECT_EQ(ircut_mode_switch(0), -11);
    EXPECT_EQ(script.journal, (Entries{to_automatic, "pthread_create(1, default)",
                                       "err: [ircut_mode_switch] ircut task create fail\n"}));
    EXPECT_EQ(ircut_controller.running, 0);
    EXPECT_EQ(ircut_controller.ircut_mode, 0);
    script.journal.clear();
    EXPECT_EQ(ircut_mode_switch(0), 0) << "nothing starts a worker in a mode that is in force already";
    EXPECT_EQ(script.journal, (Entries{to_automatic}));
}

TEST_F(IrcutMode, AutomaticTakesAPositiveResultForSuccessButNobodyJoinsAThreadThatIsNone) {
    ircut_controller.ircut_mode = 1;
    script.pthread_create_results = {{1, EAGAIN}};
    EXPECT_EQ(ircut_mode_switch(0), EAGAIN);
    EXPECT_EQ(script.journal, (Entries{to_automatic, "pthread_create(1, default)"}));
    EXPECT_EQ(ircut_controller.running, 1);
    script.journal.clear();
    EXPECT_EQ(ircut_mode_switch(1), 0);
    EXPECT_EQ(script.journal, joined({{to_day}, day_steps()}));
    EXPECT_EQ(ircut_controller.running, 0);
}

TEST_F(IrcutMode, NoWorkerIsJoinedTwiceAlsoWhenTheNextOneIsNone) {
    ircut_controller.ircut_mode = 1;
    script.pthread_create_results = {{2, EAGAIN}};
    for (const int32_t mode : {0, 1, 0, 1}) {
        ircut_mode_switch(mode);
    }
    EXPECT_EQ(script.entries("pthread_"),
              (Entries{"pthread_create(1, default)", "pthread_join(1)", "pthread_create(2, default)"}));
}

TEST_F(IrcutMode, JoinsTheWorkerThatAutomaticHasStarted) {
    ircut_controller.ircut_mode = 1;
    ircut_mode_switch(0);
    ircut_mode_switch(2);
    EXPECT_EQ(script.entries("pthread_"), (Entries{"pthread_create(1, default)", "pthread_join(1)"}));
    ircut_mode_switch(0);
    ircut_mode_switch(2);
    EXPECT_EQ(script.entries("pthread_"), (Entries{"pthread_create(1, default)", "pthread_join(1)",
                                                   "pthread_create(2, default)", "pthread_join(2)"}));
}

} // namespace
