// Messages of the channel that brings sound: sound, the two words, and what is refused.

#include "control/play_audio.h"

#include "image/isp_dnmode.h"
#include "play_queue_fixture.h"
#include "settings/device_status.h"

namespace {

class PlayMessage : public PlayQueueTest {
  protected:
    int32_t send(const std::string &bytes) {
        return evt_rcvr_message_play(nullptr, 7, bytes.data(), static_cast<int32_t>(bytes.size()));
    }
};

TEST_F(PlayMessage, IsQueuedAsACopy) {
    std::string sound = "sound";
    EXPECT_EQ(send(sound), 0);
    sound = "other";
    EXPECT_EQ(script.journal, Entries{});
    EXPECT_EQ(pop(), "sound");
}

TEST_F(PlayMessage, MayHoldAnyBytesAndNone) {
    EXPECT_EQ(send(std::string("\0\xff\0", 3)), 0);
    EXPECT_EQ(send(""), 0);
    EXPECT_EQ(pop(), std::string("\0\xff\0", 3));
    EXPECT_EQ(pop(), "");
    EXPECT_EQ(pop(), "none");
}

TEST_F(PlayMessage, MayBeAsLongAsAMessageCanBe) {
    const std::string sound(SHBF_MESSAGE_MAX, 's');
    EXPECT_EQ(send(sound), 0);
    EXPECT_EQ(pop(), sound);
}

TEST_F(PlayMessage, IsRefusedUnlessThePowerIsOne) {
    for (const int power : {0, 2, 255}) {
        device_status.power = static_cast<uint8_t>(power);
        for (const char *text : {"sound", "SOUND_BAN", "SOUND_UNBAN"}) {
            mortor_run = 2; // neither word has been taken
            EXPECT_EQ(send(text), -1) << text << power;
            EXPECT_EQ(mortor_run, 2);
        }
    }
    EXPECT_EQ(script.journal, Entries{});
    EXPECT_EQ(pop(), "none");
}

TEST_F(PlayMessage, MayBanSound) {
    dn_mode = 5;
    EXPECT_EQ(send("SOUND_BAN"), 0);
    EXPECT_EQ(script.journal, (Entries{"info: recv disable speaker cmd, dn_mode is 5\n"}));
    EXPECT_EQ(mortor_run, 1);
    EXPECT_EQ(pop(), "none");
}

TEST_F(PlayMessage, MayLiftTheBan) {
    dn_mode = -2;
    mortor_run = 1;
    EXPECT_EQ(send("SOUND_UNBAN"), 0);
    EXPECT_EQ(script.journal, (Entries{"info: enable speaker, dn_mode is -2 \n"}));
    EXPECT_EQ(mortor_run, 0);
    EXPECT_EQ(pop(), "none");
}

TEST_F(PlayMessage, IsSoundWhenItIsNotExactlyOneOfTheWords) {
    const std::string messages[] = {std::string("SOUND_BAN\0", 10),
                                    std::string("SOUND_UNBAN\0", 12),
                                    "SOUND_BA",
                                    "SOUND_UNBA",
                                    "sound_ban",
                                    "SOUND_BAM",
                                    "XOUND_UNBAN",
                                    "SOUND_BAN ",
                                    "SOUND_"};
    for (const std::string &message : messages) {
        EXPECT_EQ(send(message), 0) << message;
        EXPECT_EQ(pop(), message);
    }
    EXPECT_EQ(script.journal, Entries{});
    EXPECT_EQ(mortor_run, 0);
}

TEST_F(PlayMessage, IsQueuedWhileSoundIsBanned) {
    mortor_run = 1;
    EXPECT_EQ(send("sound"), 0);
    EXPECT_EQ(pop(), "sound");
}

TEST_F(PlayMessage, IsDroppedWithoutMemoryForTheItem) {
    script.mallocs = 0;
    script.malloc_fails = {1};
    EXPECT_EQ(send("sound"), -1);
    EXPECT_EQ(script.journal, (Entries{"err: evt_rcvr_message_play(), 1497: malloc error\n"}));
    EXPECT_EQ(pop(), "none");
}

TEST_F(PlayMessage, IsDroppedWithoutMemoryForTheBytes) {
    script.mallocs = 0;
    script.malloc_fails = {2};
    EXPECT_EQ(send("sound"), -1);
    EXPECT_EQ(script.journal, (Entries{"err: evt_rcvr_message_play(), 1502: malloc error\n"}));
    EXPECT_EQ(pop(), "none");
}

TEST_F(PlayMessage, ThatFindsTheQueueFullIsNoFailure) {
    fill(400);
    EXPECT_EQ(send("late"), 0);
    EXPECT_EQ(script.journal, (Entries{"warning: message_queue_append(),queue is full, clear it\n"}));
    EXPECT_EQ(pop(), "none");
}

} // namespace
