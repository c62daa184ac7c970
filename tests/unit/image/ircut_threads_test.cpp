// The worker as a real thread beside those that start it, end it and switch it off: for the thread sanitizer,
// and for what no virtual time shows.

#include "ircut_fixture.h"

#include "settings/device_status.h"
#include "support/eventually.h"

#include <atomic>
#include <thread>

namespace {

class IrcutThreads : public Ircut {
  protected:
    IrcutThreads() {
        script.threads_are_real = true;
        script.results = {{"oru_api_reach_night", 1}, {"oru_api_reach_day", 1}};
    }

    /* How many workers have ended. */
    size_t ended() const { return script.count("info: [ircut_main_pthread 258] exit succ "); }
};

TEST_F(IrcutThreads, ModeAfterModeEndsEachWorkerBeforeItIsApplied) {
    constexpr int rounds = 30;
    ASSERT_EQ(oru_ircut_init(), 0);
    for (int round = 0; round < rounds; ++round) {
        EXPECT_EQ(ircut_mode_switch(1), 0);
        EXPECT_EQ(ircut_mode_switch(2), 0);
        EXPECT_EQ(ended(), static_cast<size_t>(round) + 1);
        EXPECT_EQ(ircut_mode_switch(0), 0);
    }
    EXPECT_EQ(oru_ircut_exit(), 0);
    EXPECT_EQ(ended(), rounds + 1U);
    EXPECT_EQ(script.threads.size(), rounds + 1U);
}

TEST_F(IrcutThreads, ModesFromTwoSidesComeOneAfterTheOther) {
    ASSERT_EQ(oru_ircut_init(), 0);
    std::thread other([] {
        for (int round = 0; round < 30; ++round) {
            ircut_mode_switch(round % 3);
        }
    });
    for (int round = 0; round < 30; ++round) {
        ircut_mode_switch((round + 1) % 3);
    }
    other.join();
    oru_ircut_exit();
    EXPECT_EQ(ended(), script.threads.size());
}

TEST_F(IrcutThreads, SwitchedOffAndOnMeanwhileTheWorkerGoesOn) {
    ASSERT_EQ(oru_ircut_init(), 0);
    std::atomic<int> nights{0};
    for (size_t nth = 1; nth <= 3; ++nth) {
        script.when(
            "info: ircut_main_pthread(): set mode night", [&] { ++nights; }, nth);
    }
    for (int night = 1; night <= 3; ++night) {
        EXPECT_TRUE(support::eventually([&] { return nights >= night; }));
        device_status.power = 0;
        device_status.power = 1;
    }
    device_status.power = 0;
    oru_ircut_exit();
    EXPECT_EQ(ended(), 1U);
}

} // namespace
