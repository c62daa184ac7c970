// The end of the process: which signals lead to it, and what the handler does.

#include "core/signals.h"

#include "control/message_queue.h"
#include "script/daemon_test.h"
#include "settings/device_status.h"
#include "support/eventually.h"

#include <atomic>
#include <csignal>
#include <thread>

namespace {

class Signals : public DaemonTest {
  protected:
    static int handle(int number) {
        return exit_status_of([=] { sighandler(number); });
    }
};

TEST_F(Signals, AreAskedForInOrderTheRefusedOneIncluded) {
    install_signal_handlers();
    EXPECT_EQ(script.journal, (Entries{"signal(2, handler)", "signal(9, handler)", "signal(15, handler)",
                                       "signal(11, handler)", "signal(13, SIG_IGN)"}));
}

TEST_F(Signals, AllGoToTheOneHandler) {
    install_signal_handlers();
    for (const int number : {SIGINT, SIGKILL, SIGTERM, SIGSEGV}) {
        EXPECT_EQ(script.signal_handlers[number], sighandler) << number;
    }
}

TEST_F(Signals, OfAClosedPipeAreIgnored) {
    install_signal_handlers();
    EXPECT_EQ(script.signal_handlers[SIGPIPE], SIG_IGN);
}

TEST_F(Signals, EndTheProcessInOrder) {
    EXPECT_EQ(handle(SIGTERM), -1);
    EXPECT_EQ(script.journal,
              (Entries{"info: ---sighandler:last -1, new 15---\n", "ev_async_send(default loop)",
                       "ev_break(default loop, EVBREAK_ALL)", "board_system_exit()", "exit(-1)"}));
}

TEST_F(Signals, WakeThePlaybackThreadBehindTheLoopAndBeforeTheBoardShutsDown) {
    message_queue_init();
    script.threads_are_real = true;
    std::atomic<bool> waits{false};
    std::atomic<bool> woken{false};
    std::thread player([&] {
        const PlayQueueHold hold;
        waits = true;
        message_queue_wait();
        woken = true;
    });
    EXPECT_TRUE(support::eventually([&] { return waits.load(); }));
    bool woken_before = true;
    script.when("ev_break", [&] { woken_before = woken; });
    bool woken_at_exit = false;
    script.when("board_system_exit",
                [&] { woken_at_exit = support::eventually([&] { return woken.load(); }); });
    EXPECT_EQ(handle(SIGTERM), -1);
    EXPECT_FALSE(woken_before);
    EXPECT_TRUE(woken_at_exit);
    player.join();
    message_queue_destroy();
}

TEST_F(Signals, ClearTheRunFlagBeforeAnythingElse) {
    int running_at_log = -1;
    script.when("info: ---sighandler", [&] { running_at_log = device_status.running; });
    handle(SIGINT);
    EXPECT_EQ(running_at_log, 0);
    EXPECT_EQ(device_status.running, 0);
}

TEST_F(Signals, AreRememberedOnceTheyAreLogged) {
    int last_at_log = 0;
    int last_at_stop = 0;
    script.when("info: ---sighandler", [&] { last_at_log = last_signal; });
    script.when("ev_async_send", [&] { last_at_stop = last_signal; });
    handle(SIGSEGV);
    EXPECT_EQ(last_at_log, -1);
    EXPECT_EQ(last_at_stop, SIGSEGV);
}

TEST_F(Signals, NameTheOneBefore) {
    handle(SIGTERM);
    handle(SIGINT);
    EXPECT_EQ(script.entries("info: ---"), (Entries{"info: ---sighandler:last -1, new 15---\n",
                                                    "info: ---sighandler:last 15, new 2---\n"}));
}

TEST_F(Signals, TouchNothingElse) {
    device_status.bind_status = 1;
    device_status.reload_boardav = 1;
    handle(SIGINT);
    EXPECT_EQ(device_status.bind_status, 1);
    EXPECT_EQ(device_status.power, 1);
    EXPECT_EQ(device_status.reload_boardav, 1);
}

} // namespace
