// strellctl events and motor, against channels and a mailbox of the test's own.

#include "board/boardctl.h"
#include "strellctl/mailbox.h"
#include "support/board_process.h"
#include "support/channel_fixture.h"
#include "support/socket_names.h"
#include "tools/ctl.h"

#include <atomic>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/shm.h>

using ctl_test::objects;
using ctl_test::run_ctl;
using ctl_test::start_ctl;
using support::eventually;
using support::TestChannel;

namespace {

// ---- events ----

class Events : public testing::Test {
  protected:
    static void publish(TestChannel *channel, const std::string &bytes) {
        shbfev_brd_broadcast_message(channel->brd, bytes.data(), static_cast<int32_t>(bytes.size()));
    }

    support::ScratchRunDir dir_;
    TestChannel motion_{"/run/md_event"};
    TestChannel sound_{"/run/lsd_event"};
};

TEST_F(Events, ArePrintedAsTheyCome) {
    const auto ctl = start_ctl({"events"});
    ASSERT_TRUE(motion_.saw("new 1") && sound_.saw("new 1"));
    publish(&motion_, std::string("Motion x=1 y=2 w=3 h=4 area=5\0", 30));
    ASSERT_TRUE(ctl->saw("  motion  Motion x=1 y=2 w=3 h=4 area=5"));
    publish(&sound_, std::string("AbnormalSound level=93 threshold=90\0", 36));
    ASSERT_TRUE(ctl->saw("  sound   AbnormalSound level=93 threshold=90"));
    ctl->signal(SIGINT);
    EXPECT_EQ(ctl->exit_code(), 0) << ctl->output();
    EXPECT_EQ(ctl->lines().size(), 2U);
}

TEST_F(Events, AreObjectsForPrograms) {
    const auto ctl = start_ctl({"events", "--json"});
    ASSERT_TRUE(motion_.saw("new 1") && sound_.saw("new 1"));
    publish(&motion_, std::string("MotionEnd\0", 10));
    publish(&sound_, "AbnormalSound without an end");
    ASSERT_TRUE(ctl->saw("MotionEnd") && ctl->saw("without an end"));
    const auto lines = objects(ctl->lines());
    ASSERT_EQ(lines.size(), 2U);
    for (const auto &line : lines) {
        EXPECT_EQ(line.text("time").size(), std::string("2026-11-21 07:16:15.042").size());
        EXPECT_EQ(line.text("kind"), line.text("text") == "MotionEnd" ? "motion" : "sound");
    }
}

TEST_F(Events, CannotCommandTheTerminal) {
    const auto ctl = start_ctl({"events"});
    ASSERT_TRUE(motion_.saw("new 1"));
    publish(&motion_, "\x1b[2Jgone\n");
    publish(&motion_, "");
    ASSERT_TRUE(ctl->saw("gone"));
    EXPECT_TRUE(ctl_test::has_no_control_characters(ctl->output()));
}

TEST_F(Events, EndAfterATimeOrWithTheDaemon) {
    EXPECT_EQ(run_ctl({"events", "-t", "0.2"}).exit_code, 0);
    const auto ctl = start_ctl({"events"});
    ASSERT_TRUE(motion_.saw("new 2") && sound_.saw("new 2"));
    sound_.destroy();
    EXPECT_EQ(ctl->exit_code(), 1);
    EXPECT_TRUE(ctl->saw("strell_v2 has ended")) << ctl->output();
}

// ---- motor ----

class Motor : public testing::Test {
  protected:
    static constexpr size_t bytes = 60;
    static constexpr size_t text_at = 28;

    /* What is left of another test where keys are not the test's own. */
    Motor() { remove(); }
    ~Motor() override {
        if (slot_ != nullptr) {
            shmdt(slot_);
        }
        remove();
    }

    static void remove() {
        const int id = shmget(key, 0, 0);
        if (id >= 0) {
            shmctl(id, IPC_RMID, nullptr);
        }
    }

    void make(size_t size = bytes) {
        const int id = shmget(key, size, IPC_CREAT | 0666);
        ASSERT_GE(id, 0);
        slot_ = static_cast<char *>(shmat(id, nullptr, 0));
        std::memset(slot_, 0, size);
    }

    std::atomic_ref<int32_t> flag() { return std::atomic_ref<int32_t>(*reinterpret_cast<int32_t *>(slot_)); }

    /* Puts these bytes into the slot, all 32 of them, and waits until it is free again. */
    bool deliver(const std::string &text) {
        std::memset(slot_ + text_at, 0, bytes - text_at);
        std::memcpy(slot_ + text_at, text.data(), std::min(text.size(), bytes - text_at));
        flag() = 1;
        return eventually([&] { return flag() == 0; });
    }

    static constexpr key_t key = 0x1122;
    support::OwnSocketNames names_; // and keys
    support::ScratchRunDir dir_;
    char *slot_ = nullptr;
};

TEST_F(Motor, TakesDirectionsOutOfTheMailbox) {
    make();
    const auto ctl = start_ctl({"motor"});
    EXPECT_TRUE(deliver("[5,0,0]"));
    EXPECT_TRUE(ctl->saw("  [5,0,0]  right 2.5 degrees"));
    EXPECT_TRUE(deliver("[-30,0,0]"));
    EXPECT_TRUE(ctl->saw("  [-30,0,0]  left 15.0 degrees"));
    EXPECT_TRUE(deliver("[0,-2,0]"));
    EXPECT_TRUE(ctl->saw("  [0,-2,0]  up 1.0 degrees"));
    flag() = 7; // anything but 1 is a free slot
    ctl->signal(SIGINT);
    EXPECT_EQ(ctl->exit_code(), 0);
    EXPECT_EQ(flag(), 7);
    EXPECT_EQ(ctl->lines().size(), 3U) << ctl->output();
}

TEST_F(Motor, WaitsForTheMailbox) {
    const auto ctl = start_ctl({"motor", "--json"});
    ASSERT_TRUE(ctl->saw("nobody has made the mailbox yet"));
    make();
    EXPECT_TRUE(deliver("[0,3,0]"));
    ASSERT_TRUE(ctl->saw("\"vertical\":3"));
    const auto lines = objects(std::vector<std::string>{ctl->lines().back()});
    EXPECT_EQ(lines[0].number("horizontal"), 0);
    EXPECT_EQ(lines[0].text("text"), "[0,3,0]");
}

TEST_F(Motor, ThrowsAwayWhatIsNoDirection) {
    make();
    const auto ctl = start_ctl({"motor"});
    for (const std::string text : {"", "left", "[1,2]", "[1,2,3]x", "[99999999999999999999,0,0]", "[721,0,0]",
                                   "\x1b[2J", "[1,0,0", "0123456789012345678901234567890123456789"}) {
        EXPECT_TRUE(deliver(text)) << text;
    }
    EXPECT_TRUE(deliver("[1,0,0]"));
    ASSERT_TRUE(ctl->saw("right 0.5 degrees"));
    EXPECT_EQ(ctl->count("is no direction"), 9U) << ctl->output();
    EXPECT_TRUE(ctl_test::has_no_control_characters(ctl->output()));
}

TEST_F(Motor, AMailboxThatIsTooSmallIsNone) {
    make(40);
    const auto outcome = run_ctl({"motor", "-t", "5"});
    // The kernel gives whole pages, but tells the size that was asked for.
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("too small"), std::string::npos) << outcome.output;
}

TEST_F(Motor, MovesTheViewOfTheSoftwareBoard) {
    const support::BoardProcess boardd;
    board::BoardCtl board;
    make();
    {
        const auto ctl = start_ctl({"motor", "--move"});
        EXPECT_TRUE(deliver("[10,0,0]"));
        EXPECT_TRUE(eventually([&] { return board.scene().view.pan == 500; }));
        EXPECT_TRUE(deliver("[0,4,0]"));
        EXPECT_TRUE(eventually([&] { return board.scene().view.tilt == -200; })) << "down";
    }
    const auto ctl = start_ctl({"motor", "--no-move"});
    EXPECT_TRUE(deliver("[10,0,0]"));
    EXPECT_TRUE(ctl->saw("right 5.0 degrees"));
    EXPECT_EQ(board.scene().view.pan, 500);
}

TEST_F(Motor, WithoutABoardNothingCanBeMoved) {
    const auto outcome = run_ctl({"motor", "--move", "-t", "5"});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("boardd"), std::string::npos) << outcome.output;
    EXPECT_EQ(run_ctl({"motor", "--move", "--no-move"}).exit_code, 2);
}

TEST(MailboxText, IsADirectionOrNot) {
    const auto turn = ctl::parse_turn("[-720,720,0]");
    ASSERT_TRUE(turn);
    EXPECT_EQ(turn->horizontal, -720);
    EXPECT_EQ(turn->vertical, 720);
    for (const char *text : {"[-721,0,0]", "[0,721,0]", "[1234567,0,0]", "[,0,0]", "[1;0;0]", "1,0,0"}) {
        EXPECT_FALSE(ctl::parse_turn(text)) << text;
    }
}

} // namespace
