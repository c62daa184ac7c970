// The mailbox to the motor process: how it comes to be, what is put into it, and that it never ends.

#include "analytics/track_mailbox.h"

#include "libalgo_kit.h"
#include "script/daemon_test.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <set>
#include <thread>
#include <unistd.h>

namespace {

constexpr char not_running[] = "err: motor_rotate_task_thread has not running\n";

/* As the process starts, before main: fixtures change it later. */
struct AtStart {
    TrackMailbox *mailbox = track_mailbox;
    int32_t active = track_shm_active;
};
const AtStart at_start;

class TrackMailboxTest : public DaemonTest {
  protected:
    static int32_t track(int32_t horizontal, int32_t vertical, int32_t reserved = 0,
                         int32_t length = sizeof(TrackDirection)) {
        const TrackDirection direction = {horizontal, vertical, reserved};
        return track_result_cb(&direction, length);
    }

    /* What the motor process sees, byte for byte. */
    std::string bytes(size_t offset, size_t count) const {
        return std::string(reinterpret_cast<const char *>(script.shared_memory.get()) + offset, count);
    }
    std::string text() const { return reinterpret_cast<const char *>(script.shared_memory.get()) + 28; }
    int32_t full() const {
        int32_t result = 0;
        std::memcpy(&result, script.shared_memory.get(), sizeof result);
        return result;
    }
    /* The motor process takes the text. */
    void take(int32_t flag = 0) const { std::memcpy(script.shared_memory.get(), &flag, sizeof flag); }
};

class AttachedMailbox : public TrackMailboxTest {
  protected:
    AttachedMailbox() {
        algo_shm_init();
        script.journal.clear();
    }
};

using TrackMailboxStart = TrackMailboxTest;
using TrackMailboxDeathTest = TrackMailboxTest;

// ---- algo_shm_init ----

TEST_F(TrackMailboxStart, IsNeitherThereNorActiveWhenTheProcessStarts) {
    EXPECT_EQ(at_start.mailbox, nullptr);
    EXPECT_EQ(at_start.active, 0);
}

TEST_F(TrackMailboxStart, MakesASegmentOfSixtyBytesForEverybodyAndAttachesIt) {
    script.results = {{"shmget", 77}};
    EXPECT_EQ(algo_shm_init(), 0);
    EXPECT_EQ(script.journal, (Entries{"shmget(0x1122, 60, 01666)", "shmat(77, null, 0)"}));
    EXPECT_EQ(static_cast<void *>(track_mailbox.load()), script.shared_memory.get());
    EXPECT_EQ(track_shm_active, 0);
}

TEST_F(TrackMailboxStart, LeavesWhatLiesInTheMailboxAsItIs) {
    algo_shm_init();
    track(5, 0);
    algo_shm_init();
    EXPECT_EQ(full(), 1);
    EXPECT_EQ(text(), "[5,0,0]");
}

TEST_F(TrackMailboxStart, SucceedsAgainAndAgainAttachingItEachTime) {
    for (int time = 0; time < 3; ++time) {
        EXPECT_EQ(algo_shm_init(), 0);
    }
    EXPECT_EQ(script.count("shmget(0x1122, 60, 01666)"), 3U);
    EXPECT_EQ(script.count("shmat("), 3U);
    EXPECT_EQ(track_shm_active, 0);
}

TEST_F(TrackMailboxStart, TakesIdentifierZeroForOne) {
    script.results = {{"shmget", 0}};
    EXPECT_EQ(algo_shm_init(), 0);
    EXPECT_TRUE(script.has("shmat(0, null, 0)"));
}

TEST_F(TrackMailboxStart, IsRefusedWhileItIsActive) {
    for (const int32_t active : {1, -1}) {
        script.journal.clear();
        track_shm_active = active;
        EXPECT_EQ(algo_shm_init(), -1);
        EXPECT_EQ(script.journal, (Entries{"err: motor_rotate_task_thread already running\n"}));
    }
}

TEST_F(TrackMailboxStart, WithoutASegmentEndsTheProcessBeforeItAttachesAny) {
    for (const int32_t result : {-1, -2}) {
        script.journal.clear();
        script.results = {{"shmget", result}};
        EXPECT_EQ(exit_status_of([] { algo_shm_init(); }), 1);
        EXPECT_EQ(script.journal, (Entries{"shmget(0x1122, 60, 01666)", "exit(1)"}));
    }
}

TEST_F(TrackMailboxStart, AttachedNowhereEndsTheProcess) {
    script.results = {{"shmat", 0}};
    EXPECT_EQ(exit_status_of([] { algo_shm_init(); }), 1);
    EXPECT_EQ(script.journal, (Entries{"shmget(0x1122, 60, 01666)", "shmat(0, null, 0)", "exit(1)"}));
}

TEST_F(TrackMailboxStart, TakesTheErrorValueOfAttachingForAnAddress) {
    script.results = {{"shmat", -1}};
    script.error_number = EACCES;
    EXPECT_EQ(algo_shm_init(), 0);
    EXPECT_EQ(reinterpret_cast<intptr_t>(track_mailbox.load()), -1);
    EXPECT_FALSE(script.has("exit("));
}

TEST_F(TrackMailboxStart, WhoseAttachingFailedDropsWhatComes) {
    script.results = {{"shmat", -1}};
    algo_shm_init();
    EXPECT_EQ(track(5, 3), 0);
}

TEST_F(TrackMailboxDeathTest, WithoutASegmentSaysWhyOnStandardErrorAndEndsWithStatusOne) {
    script.results = {{"shmget", -1}};
    script.error_number = ENOSPC;
    EXPECT_EXIT(_exit(exit_status_of([] { algo_shm_init(); })), testing::ExitedWithCode(1),
                "^fail to shmget: No space left on device\n$");
}

TEST_F(TrackMailboxDeathTest, AttachedNowhereSaysWhyOnStandardErrorAndEndsWithStatusOne) {
    script.results = {{"shmat", 0}};
    script.error_number = ENOMEM;
    EXPECT_EXIT(_exit(exit_status_of([] { algo_shm_init(); })), testing::ExitedWithCode(1),
                "^Failed to shmat: Cannot allocate memory\n$");
}

TEST_F(TrackMailboxDeathTest, ThatCannotBeDetachedSaysWhyOnStandardErrorAndEndsWithStatusOne) {
    algo_shm_init();
    script.results = {{"shmdt", -1}};
    script.error_number = EINVAL;
    track_shm_active = 1;
    EXPECT_EXIT(_exit(exit_status_of([] { algo_shm_fini(); })), testing::ExitedWithCode(1),
                "^Failed to shmdt: Invalid argument\n$");
}

// ---- algo_shm_fini ----

TEST_F(AttachedMailbox, NeverEndsAndStaysAttached) {
    for (int time = 0; time < 2; ++time) {
        script.journal.clear();
        EXPECT_EQ(algo_shm_fini(), -1);
        EXPECT_EQ(script.journal, (Entries{"info: algo_shm_fini\n", not_running}));
    }
    track(5, 3);
    EXPECT_EQ(text(), "[5,0,0]");
}

TEST_F(TrackMailboxStart, NeverEndsAlsoWhenItHasNotBegun) {
    EXPECT_EQ(algo_shm_fini(), -1);
    EXPECT_EQ(script.journal, (Entries{"info: algo_shm_fini\n", not_running}));
}

TEST_F(AttachedMailbox, WouldBeTornDownIfItWereActive) {
    track_shm_active = 1;
    EXPECT_EQ(algo_shm_fini(), 0);
    EXPECT_EQ(script.journal,
              (Entries{"info: algo_shm_fini\n", "sem_destroy()", "pthread_mutex_destroy()",
                       "pthread_cancel(0)", "pthread_join(0)", "shmdt(attached)", "info: shmdt success\n"}));
    EXPECT_EQ(track_shm_active, 0);
    track(5, 3);
    EXPECT_EQ(full(), 0) << "nothing is attached any more";
}

TEST_F(AttachedMailbox, IsNoLongerActiveWhenItsTearDownBegins) {
    track_shm_active = 1;
    int32_t active = -1;
    script.when("sem_destroy", [&] { active = track_shm_active; });
    algo_shm_fini();
    EXPECT_EQ(active, 0);
}

TEST_F(AttachedMailbox, WouldLogATaskThatCannotBeEnded) {
    track_shm_active = 1;
    script.results = {{"pthread_cancel", -1}, {"pthread_join", -1}};
    EXPECT_EQ(algo_shm_fini(), 0);
    EXPECT_EQ(script.journal,
              (Entries{"info: algo_shm_fini\n", "sem_destroy()", "pthread_mutex_destroy()",
                       "pthread_cancel(0)", "err: pthread_cancel motion_track_task_thread\r\n",
                       "pthread_join(0)", "err: pthread_join motion_track_task_thread\r\n", "shmdt(attached)",
                       "info: shmdt success\n"}));
}

TEST_F(AttachedMailbox, WouldNotMindAPositiveResultOfEndingItsTask) {
    track_shm_active = 1;
    script.results = {{"pthread_cancel", ESRCH}, {"pthread_join", ESRCH}};
    EXPECT_EQ(algo_shm_fini(), 0);
    EXPECT_FALSE(script.has("err: "));
}

TEST_F(AttachedMailbox, ThatCannotBeDetachedWouldEndTheProcess) {
    for (const int32_t result : {-1, 1}) {
        script.results = {{"shmdt", result}};
        track_shm_active = 1;
        EXPECT_EQ(exit_status_of([] { algo_shm_fini(); }), 1) << result;
        EXPECT_FALSE(script.has("info: shmdt success\n"));
    }
}

// ---- tracking results ----

TEST_F(AttachedMailbox, HorizontalMovementTakesPrecedence) {
    EXPECT_EQ(track(5, 3), 0);
    EXPECT_EQ(text(), "[5,0,0]");
    EXPECT_EQ(full(), 1);
}

TEST_F(AttachedMailbox, VerticalMovementAloneIsPosted) {
    EXPECT_EQ(track(0, -2), 0);
    EXPECT_EQ(text(), "[0,-2,0]");
    EXPECT_EQ(full(), 1);
}

TEST_F(AttachedMailbox, NoMovementPostsNothing) {
    EXPECT_EQ(track(0, 0, 99), 0);
    EXPECT_EQ(bytes(0, 60), std::string(60, '\0'));
}

TEST_F(AttachedMailbox, StepsOfAnySizeArePosted) {
    const std::pair<int32_t, const char *> steps[] = {
        {1, "1"}, {-1, "-1"}, {INT_MAX, "2147483647"}, {INT_MIN, "-2147483648"}};
    for (const auto &[step, number] : steps) {
        take();
        track(step, 1);
        EXPECT_EQ(text(), std::string("[") + number + ",0,0]");
        take();
        track(0, step);
        EXPECT_EQ(text(), std::string("[0,") + number + ",0]");
    }
}

TEST_F(AttachedMailbox, TheThirdNumberIsAlwaysZero) {
    for (int time = 0; time < 3; ++time) {
        take();
        track(7, 0, 42);
        EXPECT_EQ(text(), "[7,0,0]");
    }
}

TEST_F(AttachedMailbox, AShorterRecordIsTakenAsFarAsItGoes) {
    track(5, 3, 0, 4);
    EXPECT_EQ(text(), "[5,0,0]");
    take();
    track(0, 3, 0, 8);
    EXPECT_EQ(text(), "[0,3,0]");
    take();
    track(0, 3, 0, 4);
    EXPECT_EQ(full(), 0);
    track(5, 3, 0, 0);
    EXPECT_EQ(full(), 0);
}

TEST_F(AttachedMailbox, IsLaidOutForTheMotorProcessByteForByte) {
    std::memset(script.shared_memory.get(), 0xEE, 60);
    track(5, 0);
    EXPECT_EQ(bytes(0, 4), std::string("\x01\0\0\0", 4));
    EXPECT_EQ(bytes(4, 24), std::string(24, '\xEE')) << "reserved";
    EXPECT_EQ(bytes(28, 8), std::string("[5,0,0]\0", 8));
    EXPECT_EQ(bytes(36, 24), std::string(24, '\xEE')) << "behind the NUL";
}

TEST_F(AttachedMailbox, DropsWhatComesBeforeTheLastWasTaken) {
    track(5, 0);
    track(0, 8);
    EXPECT_EQ(text(), "[5,0,0]");
    EXPECT_EQ(full(), 1);
    take();
    EXPECT_EQ(full(), 0) << "nothing was queued";
    track(0, 8);
    EXPECT_EQ(text(), "[0,8,0]");
    EXPECT_EQ(full(), 1);
}

TEST_F(AttachedMailbox, IsFullOnlyWithAOneInTheFlag) {
    for (const int32_t flag : {0, 2, -1, 256, 0x01000000}) {
        track(1, 0);
        take(flag);
        track(0, 8);
        EXPECT_EQ(text(), "[0,8,0]") << flag;
        EXPECT_EQ(full(), 1) << flag;
        take();
    }
}

TEST_F(AttachedMailbox, TakesATextOfThirtyOneCharacters) {
    const std::string longest(31, 'x');
    track_shm_post(longest.c_str());
    EXPECT_EQ(text(), longest);
    EXPECT_EQ(full(), 1);
}

TEST_F(AttachedMailbox, SaysNothingOfWhatItDoes) {
    track(5, 0);
    track(5, 0);
    track(0, 0);
    EXPECT_EQ(script.journal, Entries{});
}

// ---- the motor process at the other side, as a thread ----

TEST_F(AttachedMailbox, HandsEveryTextOverWholeWhileTheMotorProcessTakesThem) {
    constexpr int enough = 3000;
    constexpr std::chrono::seconds at_most(2); // both threads may have to share a core
    std::atomic<bool> over{false};
    std::atomic<int> count{0};
    std::set<std::string> taken;
    std::thread motor([&] {
        TrackMailbox *mailbox = track_mailbox;
        while (!over) {
            if (mailbox->full.load(std::memory_order_acquire) == 1) {
                const std::string text = mailbox->text;
                mailbox->full.store(0, std::memory_order_release); // soon, before the callback has returned
                taken.insert(text);
                ++count;
            }
        }
    });
    const auto end = std::chrono::steady_clock::now() + at_most;
    while (count < enough && std::chrono::steady_clock::now() < end) {
        track(7, 3);
        track(-1234567, 3);
    }
    while (count == 0) { // the other thread has not had its turn
        std::this_thread::yield();
    }
    over = true;
    motor.join();
    taken.erase("[7,0,0]");
    taken.erase("[-1234567,0,0]");
    EXPECT_EQ(taken, std::set<std::string>{}) << "torn, or upwards in the same breath";
}

TEST_F(TrackMailboxStart, DropsWhatComesBeforeIt) {
    EXPECT_EQ(track(5, 3), 0);
    track_shm_post("[1,0,0]");
    algo_shm_init();
    EXPECT_EQ(full(), 0);
}

} // namespace
