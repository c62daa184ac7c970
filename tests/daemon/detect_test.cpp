// What the analytics find, from the board through the daemon to whoever waits for it: texts on the event
// channels, directions in the motor's mailbox.

#include "board/boardctl.h"
#include "support/system.h"

#include <atomic>
#include <gtest/gtest.h>
#include <regex>
#include <sys/shm.h>

using support::eventually;
using support::System;

namespace {

/* The next message, every byte of it; nothing when none comes in time. */
std::optional<std::string> message_within(const support::ReceiverHandle &receiver, int32_t timeout_ms) {
    shbf_event_t event;
    while (shbf_rcv_next(receiver.get(), &event, timeout_ms) == 1) {
        if (event.kind == SHBF_EVENT_MESSAGE) {
            return std::string(static_cast<const char *>(event.message.bytes), event.message.length);
        }
        shbf_rcv_release(receiver.get(), &event.frame);
    }
    return std::nullopt;
}

const std::string nul(1, '\0');

// ---- events ----

class Detect : public testing::Test {
  protected:
    System system_;
};

TEST_F(Detect, MotionIsATextWithItsNulOnItsChannel) {
    system_.start();
    const auto motion = support::attach("/run/md_event");
    const auto sound = support::attach("/run/lsd_event");
    ASSERT_NE(motion, nullptr);
    ASSERT_NE(sound, nullptr);
    const std::regex form("Motion x=\\d+ y=\\d+ w=\\d+ h=\\d+ area=\\d+" + nul);
    for (int found = 0; found < 2;) {
        const auto text = message_within(motion, 20000);
        ASSERT_TRUE(text) << system_.daemon->output();
        if (*text != "MotionEnd" + nul) {
            ASSERT_TRUE(std::regex_match(*text, form)) << *text;
            ++found;
        }
    }
    EXPECT_EQ(message_within(sound, 0), std::nullopt);
}

TEST_F(Detect, AnAbnormalSoundIsATextWithItsNulOnItsOwnChannelOnly) {
    system_.start({"--source", "videotestsrc is-live=true pattern=smpte ! video/x-raw,framerate=15/1"});
    const auto motion = support::attach("/run/md_event");
    const auto sound = support::attach("/run/lsd_event");
    ASSERT_NE(motion, nullptr);
    ASSERT_NE(sound, nullptr);
    // The first may come while the detector still learns what is always heard.
    std::optional<std::string> text;
    for (int burst = 0; burst < 6 && !text; ++burst) {
        board::BoardCtl().burst({-3, 1000});
        text = message_within(sound, 4000);
    }
    ASSERT_TRUE(text) << board::BoardCtl().status();
    EXPECT_TRUE(std::regex_match(*text, std::regex("AbnormalSound level=\\d+ threshold=\\d+" + nul)))
        << *text;
    EXPECT_EQ(message_within(motion, 0), std::nullopt) << "nothing moves";
}

// ---- directions ----

/* The motor process's end of the mailbox. */
class Tracking : public testing::Test {
  protected:
    Tracking() { remove_mailbox(); } // where keys are the machine's, of the test before
    ~Tracking() override {
        if (bytes_ != nullptr) {
            shmdt(bytes_);
        }
        remove_mailbox();
    }

    static void remove_mailbox() {
        const int id = shmget(key, 0, 0);
        if (id >= 0) {
            shmctl(id, IPC_RMID, nullptr);
        }
    }

    bool attach_mailbox() {
        int id = -1;
        if (!eventually([&] { return (id = shmget(key, bytes, 0)) >= 0; })) {
            return false;
        }
        void *address = shmat(id, nullptr, 0);
        bytes_ = address == reinterpret_cast<void *>(-1) ? nullptr : static_cast<char *>(address);
        return bytes_ != nullptr;
    }

    std::atomic_ref<int32_t> full() { return std::atomic_ref<int32_t>(*reinterpret_cast<int32_t *>(bytes_)); }

    /* Takes two directions out, one after the other. */
    void take_two() {
        ASSERT_TRUE(attach_mailbox());
        for (int i = 0; i < 2; ++i) {
            ASSERT_TRUE(eventually([&] { return full() == 1; })) << i << board::BoardCtl().status();
            const std::string slot(bytes_ + text_at, bytes - text_at);
            const std::string text = slot.substr(0, slot.find('\0'));
            EXPECT_LT(text.size(), slot.size()) << "it has its NUL";
            // One way at a time.
            EXPECT_TRUE(std::regex_match(text, std::regex("\\[(-?[1-9]\\d?,0|0,-?[1-9]\\d?),0\\]"))) << text;
            full() = 0;
        }
    }

    static constexpr key_t key = 0x1122;
    static constexpr size_t bytes = 60;
    static constexpr size_t text_at = 28;
    System system_;
    char *bytes_ = nullptr;
};

TEST_F(Tracking, SwitchedOnInTheStoreBringsDirectionsFromTheStartOn) {
    system_.start_store();
    ASSERT_TRUE(System::set("motion_detection_enable", "on"));
    system_.start_board();
    system_.start_daemon();
    ASSERT_TRUE(system_.daemon_is_up() && system_.streams_run() && system_.has_started())
        << system_.daemon->output();
    take_two();
}

TEST_F(Tracking, SwitchedOnLaterBringsDirectionsFromThenOn) {
    system_.start();
    EXPECT_LT(shmget(key, 0, 0), 0) << "no mailbox yet";
    ASSERT_TRUE(System::set("motion_detection_enable", "on"));
    take_two();
}

} // namespace
