// Pictures on request: a raw frame, a JPEG. The answer goes to who asked and to nobody else.

#include "media/channels.h"
#include "media/requests.h"
#include "script/daemon_test.h"
#include "settings/device_status.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int32_t receiver = 7;

class Snapshots : public DaemonTest {
  protected:
    Snapshots() {
        for (const int32_t index : {channel_raw_stream, channel_jpeg}) {
            shbf_init(index);
        }
        script.journal.clear();
    }

    /* What was sent, which must be one buffer that was then given back. */
    const std::vector<uint8_t> &sent() const {
        static const std::vector<uint8_t> nothing;
        EXPECT_EQ(script.buffers.size(), 1U);
        return script.buffers.empty() ? nothing : script.buffers.back()->bytes;
    }

    static uint32_t word(const std::vector<uint8_t> &bytes, size_t offset) {
        uint32_t value = 0;
        EXPECT_LE(offset + sizeof value, bytes.size());
        memcpy(&value, bytes.data() + offset, sizeof value);
        return value;
    }
};

// ---- raw frames ----

class RawFrame : public Snapshots {
  protected:
    RawFrame() {
        script.get_raw_frame = [this](uint8_t *payload, uint32_t, RawFrameInfo *info) {
            payload_at_ = payload;
            memset(info, 0x81, sizeof *info);
            info->len = len_;
            memset(payload, 0x5a, len_);
            return result_;
        };
    }
    static int32_t ask(const std::string &bytes = "anything") {
        return evt_rcvr_message_rawframe(nullptr, receiver, bytes.data(), static_cast<int32_t>(bytes.size()));
    }
    static Entries answered(int bound, uint32_t size) {
        return {"shbfev_brd_alloc(/run/video_rawstream, 368704)",
                script::format("get_raw_frame(368640, %d)", bound),
                script::format("shbf_set_size(buffer 1, %u)", size),
                "shbfev_brd_send(/run/video_rawstream, 7, buffer 1)", "shbf_free(buffer 1)"};
    }

    uint32_t len_ = 368640;
    int32_t result_ = 0;
    const uint8_t *payload_at_ = nullptr;
};

TEST_F(RawFrame, IsSentToWhoAskedInOrder) {
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(script.journal, answered(0, 368704));
}

TEST_F(RawFrame, HasItsHeaderInFrontOfAnAreaOf64Bytes) {
    len_ = 1000;
    ask();
    const auto &bytes = sent();
    ASSERT_EQ(bytes.size(), 1064U);
    EXPECT_EQ(payload_at_, static_cast<const uint8_t *>(script.buffers[0]->address) + 64);
    RawFrameInfo header;
    memset(&header, 0x81, sizeof header);
    header.len = 1000;
    EXPECT_EQ(memcmp(bytes.data(), &header, 40), 0);
    EXPECT_EQ(word(bytes, 16), 1000U);
    EXPECT_TRUE(std::all_of(bytes.begin() + 40, bytes.begin() + 64, [](uint8_t byte) {
        return byte == 0xcd;
    })) << "left as the allocator gave it";
    EXPECT_TRUE(std::all_of(bytes.begin() + 64, bytes.end(), [](uint8_t byte) { return byte == 0x5a; }));
}

TEST_F(RawFrame, IsAnsweredWhateverTheMessageSays) {
    for (const std::string &text : {std::string(), std::string("REQ_IDR"), std::string(100, '\0')}) {
        EXPECT_EQ(ask(text), 0) << text;
    }
    EXPECT_EQ(script.count("shbfev_brd_send"), 3U);
}

TEST_F(RawFrame, TellsTheBoardWhetherTheCameraIsBound) {
    device_status.bind_status = 1;
    ask();
    EXPECT_EQ(script.journal, answered(1, 368704));
}

TEST_F(RawFrame, ThatTheBoardCannotTakeIsAnEmptyAnswer) {
    result_ = -1;
    EXPECT_EQ(ask(), 0);
    Entries expected = answered(0, 64);
    expected.insert(expected.begin() + 2, "warning: Got raw frame error\n");
    EXPECT_EQ(script.journal, expected);
    RawFrameInfo header;
    memset(&header, 0x81, sizeof header);
    header.len = 0; // and nothing else
    EXPECT_EQ(memcmp(sent().data(), &header, sizeof header), 0);
}

TEST_F(RawFrame, ThatTheBoardLeavesUntouchedIsAnAnswerOfZeros) {
    script.get_raw_frame = [](uint8_t *, uint32_t, RawFrameInfo *) { return -1; };
    ask();
    EXPECT_TRUE(std::all_of(sent().begin(), sent().begin() + 40, [](uint8_t byte) { return byte == 0; }));
}

TEST_F(RawFrame, IsNotTakenUnlessThePowerIsOne) {
    for (const int power : {0, 2, 255}) {
        device_status.power = static_cast<uint8_t>(power);
        EXPECT_EQ(ask(), -1) << power;
    }
    EXPECT_EQ(script.journal, Entries{});
}

TEST_F(RawFrame, IsTakenWhileAProfileIsApplied) {
    device_status.reload_boardav = 1;
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(script.count("shbfev_brd_send"), 1U);
}

TEST_F(RawFrame, WithoutABufferIsLoggedAndNotAnswered) {
    script.alloc_fails = true;
    EXPECT_EQ(ask(), -1);
    EXPECT_EQ(script.without({"shbfev_brd_alloc"}),
              (Entries{"err: evt_rcvr_message_rawframe(), 1536, shbfev_alloc\n"}));
}

TEST_F(RawFrame, ThatCannotBeSentIsNobodysConcern) {
    script.results["shbfev_brd_send"] = -2;
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(script.journal, answered(0, 368704));
}

// ---- JPEG snapshots ----

class JpegSnapshot : public Snapshots {
  protected:
    JpegSnapshot() {
        script.get_jpeg_snap = [this](uint8_t *payload, uint32_t, VideoFrameInfo *info) {
            payload_at_ = payload;
            *info = {2, 0xffffffff, 0x123456789abcULL, len_, 9, board_word, 11};
            memset(payload, 0x5a, len_);
            script.now_us += 12345;
            return result_;
        };
        script.now_us = 999999; // a second begins meanwhile
    }
    static int32_t ask(const std::string &bytes) {
        return evt_rcvr_message_jpeg(nullptr, receiver, bytes.data(), static_cast<int32_t>(bytes.size()));
    }
    static Entries answered(uint32_t len) {
        return {"shbfev_brd_alloc(/run/jpeg_snap, 131104)",
                "get_jpeg_snap(131072)",
                script::format("shbf_set_size(buffer 1, %u)", len + 32),
                "shbfev_brd_send(/run/jpeg_snap, 7, buffer 1)",
                "shbf_free(buffer 1)",
                script::format("debug: Got jpeg {2, -1, %u, 20015998343868},time cost 12.345000\n", len)};
    }

    /* The kind in the answer to this message. */
    uint32_t kind_of(const std::string &message) {
        EXPECT_EQ(ask(message), 0);
        return word(script.buffers.back()->bytes, 24);
    }

    static constexpr uint32_t board_word = 0x04380780;
    uint32_t len_ = 5000;
    int32_t result_ = 0;
    const uint8_t *payload_at_ = nullptr;
};

TEST_F(JpegSnapshot, IsSentToWhoAskedInOrderAndItsCostLogged) {
    EXPECT_EQ(ask("REQ_SNAPSHOT_A"), 0);
    EXPECT_EQ(script.journal, answered(5000));
}

TEST_F(JpegSnapshot, HasItsHeaderInFront) {
    ask("REQ_SNAPSHOT_A");
    const auto &bytes = sent();
    ASSERT_EQ(bytes.size(), 5032U);
    EXPECT_EQ(payload_at_, static_cast<const uint8_t *>(script.buffers[0]->address) + 32);
    const VideoFrameInfo header = {2, 0xffffffff, 0x123456789abcULL, 5000, 9, 1, 11};
    EXPECT_EQ(memcmp(bytes.data(), &header, sizeof header), 0);
    EXPECT_TRUE(std::all_of(bytes.begin() + 32, bytes.end(), [](uint8_t byte) { return byte == 0x5a; }));
}

TEST_F(JpegSnapshot, MayBeAsLargeAsItsBuffer) {
    len_ = 131072;
    ask("REQ_SNAPSHOT_R");
    EXPECT_EQ(sent().size(), 131104U);
}

TEST_F(JpegSnapshot, OfKindROnlyByTheWholeWord) {
    EXPECT_EQ(kind_of("REQ_SNAPSHOT_R"), 0U);
    EXPECT_EQ(kind_of(std::string("REQ_SNAPSHOT_R\0", 15)), 0U);
}

TEST_F(JpegSnapshot, OfKindAByTheWordAndEveryBeginningOfItTheEmptyOneIncluded) {
    const std::string word = "REQ_SNAPSHOT_A";
    for (size_t length = 0; length <= word.size(); ++length) {
        EXPECT_EQ(kind_of(word.substr(0, length)), 1U) << length;
    }
    EXPECT_EQ(kind_of(word + '\0'), 1U);
}

TEST_F(JpegSnapshot, OfTheBoardsKindByAnyOtherText) {
    for (const std::string &text :
         {std::string("REQ_SNAPSHOT_B"), std::string("REQ_SNAPSHOT_AA"), std::string("REQ_SNAPSHOT_R "),
          std::string("req_snapshot_a"), std::string("REQ_IDR"), std::string("EQ_SNAPSHOT_A"),
          std::string(1, '\0'), std::string(65536, 'R')}) {
        EXPECT_EQ(kind_of(text), board_word) << text.substr(0, 20);
    }
}

TEST_F(JpegSnapshot, IsTakenBeforeTheMessageIsLookedAt) {
    EXPECT_EQ(evt_rcvr_message_jpeg(nullptr, receiver, "REQ_SNAPSHOT_A", -1), 0); // a length that is none
    EXPECT_EQ(word(sent(), 24), board_word);
}

TEST_F(JpegSnapshot, ThatTheBoardCannotTakeIsAnEmptyAnswer) {
    result_ = -1;
    EXPECT_EQ(ask("REQ_SNAPSHOT_A"), 0);
    Entries expected = answered(0);
    expected.insert(expected.begin() + 2, "warning: Got jpeg error\n");
    EXPECT_EQ(script.journal, expected);
    ASSERT_EQ(sent().size(), 32U);
    const VideoFrameInfo header = {2, 0xffffffff, 0x123456789abcULL, 0, 9, 1, 11};
    EXPECT_EQ(memcmp(sent().data(), &header, sizeof header), 0);
}

TEST_F(JpegSnapshot, ThatTheBoardLeavesUntouchedIsAnAnswerOfZeros) {
    script.get_jpeg_snap = [](uint8_t *, uint32_t, VideoFrameInfo *) { return -1; };
    ask("REQ_SNAPSHOT_R");
    EXPECT_EQ(sent(), std::vector<uint8_t>(32, 0));
}

TEST_F(JpegSnapshot, IsNotTakenUnlessThePowerIsOne) {
    for (const int power : {0, 2, 255}) {
        device_status.power = static_cast<uint8_t>(power);
        EXPECT_EQ(ask("REQ_SNAPSHOT_A"), -1) << power;
    }
    EXPECT_EQ(script.journal, Entries{});
}

TEST_F(JpegSnapshot, IsNotTakenWhileAProfileIsApplied) {
    device_status.reload_boardav = 1;
    EXPECT_EQ(ask("REQ_SNAPSHOT_A"), -1);
    EXPECT_EQ(script.journal, Entries{});
}

TEST_F(JpegSnapshot, WithoutABufferIsLoggedAndNotAnswered) {
    script.alloc_fails = true;
    EXPECT_EQ(ask("REQ_SNAPSHOT_A"), -1);
    EXPECT_EQ(script.without({"shbfev_brd_alloc"}),
              (Entries{"err: evt_rcvr_message_jpeg(), 1581, shbfev_alloc\n"}));
}

TEST_F(JpegSnapshot, ThatCannotBeSentIsNobodysConcern) {
    script.results["shbfev_brd_send"] = -2;
    EXPECT_EQ(ask("REQ_SNAPSHOT_A"), 0);
    EXPECT_EQ(script.journal, answered(5000));
}

TEST_F(JpegSnapshot, CostsFromBeforeItsBufferIsAllocatedUntilItWasFreed) {
    const auto takes = [this](const char *call, uint64_t us) {
        script.when(call, [this, us] { script.now_us += us; });
    };
    takes("shbfev_brd_alloc", 1000);
    takes("shbf_set_size", 20000);
    takes("shbfev_brd_send", 300000);
    takes("shbf_free", 4000000);
    ask("REQ_SNAPSHOT_A");
    EXPECT_EQ(script.journal.back(), "debug: Got jpeg {2, -1, 5000, 20015998343868},time cost 4333.345000\n");
}

TEST_F(JpegSnapshot, MayEndBeforeItBeganWhenTheClockIsSet) {
    script.now_us = 2500000;
    script.get_jpeg_snap = [this](uint8_t *, uint32_t, VideoFrameInfo *info) {
        *info = {};
        script.now_us = 1000000;
        return 0;
    };
    ask("REQ_SNAPSHOT_A");
    EXPECT_EQ(script.journal.back(), "debug: Got jpeg {0, 0, 0, 0},time cost -1500.000000\n");
}

} // namespace
