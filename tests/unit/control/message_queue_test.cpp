// The ring of sound that waits to be played. What is not freed here the address sanitizer reports.

#include "control/message_queue.h"

#include "core/signals.h"
#include "play_queue_fixture.h"

#include <algorithm>
#include <csignal>

namespace {

using MessageQueue = PlayQueueTest;

/* True when no signal is blocked that was not before. */
bool takes_signals() {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return sigismember(&mask, SIGTERM) == 0 && sigismember(&mask, SIGSEGV) == 0;
}

TEST_F(MessageQueue, HasRoomForFourHundredItems) {
    EXPECT_EQ(sizeof play_queue.items / sizeof play_queue.items[0], 400U);
    EXPECT_EQ(sizeof play_queue.tail, 4U);
    EXPECT_EQ(sizeof play_queue.head, 4U);
    EXPECT_EQ(sizeof play_queue.count, 4U);
}

TEST_F(MessageQueue, IsEmptyAtFirst) {
    EXPECT_EQ(play_queue.count, 0);
    EXPECT_EQ(play_queue.head, 0);
    EXPECT_EQ(play_queue.tail, 0);
    EXPECT_TRUE(std::all_of(std::begin(play_queue.items), std::end(play_queue.items),
                            [](const PlayItem *item) { return item == nullptr; }));
    EXPECT_EQ(pop(), "none");
}

TEST_F(MessageQueue, GivesItemsInTheOrderInWhichTheyCame) {
    fill(3);
    EXPECT_EQ(play_queue.count, 3);
    EXPECT_EQ(pop(), "0");
    EXPECT_EQ(pop(), "1");
    EXPECT_EQ(pop(), "2");
    EXPECT_EQ(pop(), "none");
    EXPECT_EQ(play_queue.count, 0);
}

TEST_F(MessageQueue, GoesRound) {
    for (int round = 0; round < 3; ++round) {
        fill(300);
        for (int i = 0; i < 300; ++i) {
            ASSERT_EQ(pop(), std::to_string(i)) << round;
        }
    }
    EXPECT_EQ(play_queue.tail, 900 % 400);
    EXPECT_EQ(play_queue.head, 900 % 400);
}

TEST_F(MessageQueue, HoldsFourHundredItemsSilently) {
    fill(400);
    EXPECT_EQ(play_queue.count, 400);
    EXPECT_EQ(script.journal, Entries{});
    EXPECT_EQ(pop(), "0");
}

TEST_F(MessageQueue, LosesAllAtTheFourHundredAndFirstWithOneWarning) {
    fill(400);
    EXPECT_EQ(message_queue_append(make_play_item("late")), -1);
    EXPECT_EQ(script.journal, (Entries{"warning: message_queue_append(),queue is full, clear it\n"}));
    EXPECT_EQ(play_queue.count, 0);
    EXPECT_EQ(pop(), "none");
}

TEST_F(MessageQueue, WorksOnAfterItWasFull) {
    fill(400);
    message_queue_append(make_play_item("late"));
    fill(2);
    EXPECT_EQ(pop(), "0");
    EXPECT_EQ(pop(), "1");
    EXPECT_EQ(pop(), "none");
}

TEST_F(MessageQueue, CanBeClearedWithAnyNumberOfItems) {
    for (const int count : {0, 1, 399, 400}) {
        fill(count);
        message_queue_clear();
        EXPECT_EQ(play_queue.count, 0);
        EXPECT_EQ(pop(), "none");
    }
}

TEST_F(MessageQueue, MadeAnewIsEmpty) {
    fill(5);
    message_queue_clear();
    message_queue_destroy();
    EXPECT_EQ(message_queue_init(), 0);
    EXPECT_EQ(play_queue.tail, 0);
    EXPECT_EQ(play_queue.head, 0);
}

TEST_F(MessageQueue, DestroyedForgetsItsItemsWithoutFreeingThem) {
    PlayItem *item = make_play_item("kept");
    message_queue_append(item);
    message_queue_destroy();
    EXPECT_TRUE(std::all_of(std::begin(play_queue.items), std::end(play_queue.items),
                            [](const PlayItem *slot) { return slot == nullptr; }));
    EXPECT_EQ(std::memcmp(item->bytes, "kept", 4), 0);
    message_queue_free(item);
    message_queue_init();
}

// ---- its lock ----

TEST_F(MessageQueue, HasALockOfTheNormalKindByItsAttribute) {
    EXPECT_EQ(script.mutex_type, PTHREAD_MUTEX_NORMAL);
}

TEST_F(MessageQueue, SignalsOnceForEachAppendWithTheLockHeld) {
    fill(400);
    EXPECT_EQ(script.cond_signals, 400U);
    message_queue_append(make_play_item("late")); // into a full queue
    EXPECT_EQ(script.cond_signals, 401U);
    EXPECT_EQ(script.cond_signals_unlocked, 0U);
}

TEST_F(MessageQueue, SignalsOnceForEachWakeUpWithTheLockHeld) {
    message_queue_wake();
    message_queue_wake();
    EXPECT_EQ(script.cond_signals, 2U);
    EXPECT_EQ(script.cond_signals_unlocked, 0U);
}

TEST_F(MessageQueue, HasALockThatItsHolderCannotTakeTwice) {
    const PlayQueueHold hold;
    EXPECT_EQ(pthread_mutex_trylock(&play_queue.mutex), EBUSY);
}

TEST_F(MessageQueue, HeldKeepsTheThreadsSignalsAwayAndLetsThemInAgain) {
    ASSERT_TRUE(takes_signals());
    {
        const PlayQueueHold hold;
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        for (const int number : {SIGINT, SIGTERM, SIGSEGV, SIGALRM}) {
            EXPECT_EQ(sigismember(&mask, number), 1) << number;
        }
    }
    EXPECT_TRUE(takes_signals());
    fill(1);
    message_queue_wake();
    EXPECT_TRUE(takes_signals());
}

TEST_F(MessageQueue, SignalThatComesWhileItsLockIsHeldIsHandledBehindIt) {
    static bool locked = true;
    struct sigaction before = {};
    struct sigaction action = {};
    action.sa_handler = [](int) {
        locked = pthread_mutex_trylock(&play_queue.mutex) != 0;
        if (!locked) {
            pthread_mutex_unlock(&play_queue.mutex);
        }
        message_queue_wake(); // as the handler that ends the process does
    };
    sigaction(SIGUSR1, &action, &before);
    {
        const PlayQueueHold hold;
        raise(SIGUSR1);
        EXPECT_TRUE(locked) << "not handled yet";
    }
    EXPECT_FALSE(locked);
    sigaction(SIGUSR1, &before, nullptr);
}

// ---- before there is a queue, and when there is none any more ----

class NoMessageQueue : public DaemonTest {};

TEST_F(NoMessageQueue, CanBeWoken) {
    message_queue_wake();
    message_queue_init();
    message_queue_destroy();
    message_queue_wake();
    EXPECT_TRUE(takes_signals());
}

TEST_F(NoMessageQueue, DropsWhatIsAppended) {
    EXPECT_EQ(message_queue_append(make_play_item("early")), -1);
    message_queue_init();
    EXPECT_EQ(play_queue.count, 0);
    message_queue_destroy();
    EXPECT_EQ(message_queue_append(make_play_item("late")), -1);
    EXPECT_EQ(script.journal, Entries{});
}

TEST_F(NoMessageQueue, LetsTheProcessEnd) {
    EXPECT_EQ(exit_status_of([] { sighandler(SIGTERM); }), -1);
    EXPECT_EQ(script.journal.back(), "exit(-1)");
}

} // namespace
