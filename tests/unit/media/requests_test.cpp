// What receivers may ask for by a message.

#include "media/requests.h"

#include "script/daemon_test.h"
#include "settings/device_status.h"

namespace {

class KeyFrameRequest : public DaemonTest {
  protected:
    /* Sends these bytes. True when a key frame was asked for. */
    bool send(const std::string &bytes) {
        script.journal.clear();
        EXPECT_EQ(evt_rcvr_message_idr(nullptr, 7, bytes.c_str(), static_cast<int32_t>(bytes.size())), 0);
        EXPECT_EQ(script.without({"req_IDR()"}), Entries{});
        EXPECT_LE(script.journal.size(), 1U);
        return !script.journal.empty();
    }
};

TEST_F(KeyFrameRequest, IsTheWord) {
    EXPECT_TRUE(send("REQ_IDR"));
}

TEST_F(KeyFrameRequest, IsAnyBeginningOfTheWordTheEmptyOneIncluded) {
    const std::string word = "REQ_IDR";
    for (size_t length = 0; length < word.size(); ++length) {
        EXPECT_TRUE(send(word.substr(0, length))) << length;
    }
}

TEST_F(KeyFrameRequest, MayBringItsNul) {
    EXPECT_TRUE(send(std::string("REQ_IDR") + '\0'));
}

TEST_F(KeyFrameRequest, IsNothingElse) {
    for (const char *text : {"req_idr", "REQ_IDX", "XEQ_IDR", "R_", "EQ_IDR", " REQ_IDR", "REQ_IDR ",
                             "REQ_IDRS", "REQ_IDR\n", "REQ_SNAPSHOT_A", "SOUND_BAN"}) {
        EXPECT_FALSE(send(text)) << text;
    }
}

TEST_F(KeyFrameRequest, IsNothingThatOnlyBeginsWithTheWord) {
    EXPECT_FALSE(send(std::string("REQ_IDR\0x", 9)));
    EXPECT_FALSE(send(std::string("REQ_IDR\0\0", 9)));
    EXPECT_FALSE(send(std::string(1, '\0')));
    EXPECT_FALSE(send("REQ_IDR" + std::string(65536 - 7, '\0')));
}

TEST_F(KeyFrameRequest, WithALengthThatIsNoneIsIgnored) {
    EXPECT_EQ(evt_rcvr_message_idr(nullptr, 7, "REQ_IDR", -1), 0);
    EXPECT_EQ(evt_rcvr_message_idr(nullptr, 7, "REQ_IDR", INT32_MIN), 0);
    EXPECT_EQ(script.journal, Entries{});
}

TEST_F(KeyFrameRequest, IsAnsweredWhateverTheCameraDoes) {
    device_status.power = 0;
    device_status.bind_status = 0;
    device_status.reload_boardav = 1;
    device_status.running = 0;
    EXPECT_TRUE(send("REQ_IDR"));
}

} // namespace
