// libboardav's side of the encoder channels, with a board that sends whatever the test says. One test for
// each process, since libboardav connects once.

#include "board/client/control_call.h"
#include "libboardav.h"
#include "platform/board/fake_board.h"
#include "support/eventually.h"
#include "support/scratch.h"

#include <cstring>
#include <gtest/gtest.h>

namespace {

using namespace board;
using fake::bytes_of;
using fake::frame_record;

class Streams : public testing::Test {
  protected:
    Streams() { EXPECT_EQ(board_system_init(1), 0); }

    /* Fetches once from the main stream. */
    int32_t fetch(uint32_t capacity = 1000) {
        std::memset(&info_, 0xEE, sizeof info_);
        return get_video_stream(0, payload_, capacity, &info_);
    }

    /* Fetches once; the sequence number of the frame, or -1 for no frame. */
    int64_t fetch_seq() {
        const int32_t result = fetch();
        EXPECT_EQ(result, 0);
        return result == 0 && info_.len > 0 ? int64_t{info_.seq} : -1;
    }

    void publish_frame(uint32_t seq) { board_.publish(bytes_of(frame_record(seq, 5), "12345")); }

    void publish_answer(int32_t result, uint32_t count, uint32_t serial) {
        VencRecord record{};
        record.magic = venc_magic;
        record.kind = venc_answer;
        record.result = result;
        record.count = count;
        record.serial = serial;
        board_.publish(bytes_of(record));
    }

    support::ScratchRunDir run_dir_;
    fake::FakeBoard board_;
    char payload_[1000] = "";
    VideoFrameInfo info_{};
};

TEST_F(Streams, HeaderAndPayloadArriveAsTheyWereSent) {
    VencRecord record = frame_record(7, 5);
    record.info = {1, 7, 0x123456789ABCDEF0, 5, 1, 0x02d00500, 77};
    board_.publish(bytes_of(record, "12345"));
    ASSERT_EQ(fetch(), 0);
    EXPECT_EQ(std::memcmp(&info_, &record.info, sizeof info_), 0);
    EXPECT_EQ(std::string(payload_, 5), "12345");
}

TEST_F(Streams, NothingInTimeIsAnEmptyFrame) {
    const uint64_t before_us = monotonic_us();
    EXPECT_EQ(fetch(), 0);
    EXPECT_EQ(info_.len, 0U);
    EXPECT_GE(monotonic_us() - before_us, 80'000U);
}

TEST_F(Streams, FramesInOrder) {
    for (uint32_t i = 0; i < 4; ++i) {
        publish_frame(i);
    }
    for (uint32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(fetch_seq(), i);
    }
}

TEST_F(Streams, ASkippedFrameIsALossSaidOnce) {
    for (uint32_t i = 0; i < venc_window + 4; ++i) {
        publish_frame(i);
    }
    for (uint32_t i = 0; i < venc_window; ++i) {
        EXPECT_EQ(fetch_seq(), i);
    }
    EXPECT_EQ(fetch_seq(), -1) << "a loss without a frame behind it";
    publish_frame(100);
    publish_frame(101);
    EXPECT_EQ(fetch(), -2);
    EXPECT_EQ(fetch_seq(), 100);
    EXPECT_EQ(fetch_seq(), 101);
}

TEST_F(Streams, AFrameThatCouldNotBeSentIsALossSaidOnce) {
    publish_frame(0);
    VencRecord record = frame_record(2, 5);
    record.lost_before = 1;
    board_.publish(bytes_of(record, "12345"));
    EXPECT_EQ(fetch_seq(), 0);
    EXPECT_EQ(fetch(), -2);
    EXPECT_EQ(fetch_seq(), 2);
}

TEST_F(Streams, FramesThatWaitedForLongAreOneLoss) {
    for (uint32_t i = 0; i < 3; ++i) {
        VencRecord record = frame_record(i, 5);
        record.published_us -= 5'000'000;
        board_.publish(bytes_of(record, "12345"));
    }
    EXPECT_EQ(fetch_seq(), -1) << "a loss without a frame behind it";
    publish_frame(3);
    EXPECT_EQ(fetch(), -2);
    EXPECT_EQ(fetch_seq(), 3);
}

TEST_F(Streams, AFrameThatWaitsInHandForLongIsLostToo) {
    VencRecord record = frame_record(7, 5);
    record.lost_before = 1;
    board_.publish(bytes_of(record, "12345"));
    EXPECT_EQ(fetch(), -2);
    ASSERT_TRUE(support::eventually(
        [&] { return monotonic_us() > record.published_us + venc_fetch_within_us; })); // the caller pauses
    EXPECT_EQ(fetch_seq(), -1) << "a picture of long ago";
    publish_frame(8);
    EXPECT_EQ(fetch(), -2) << "that one was lost, too";
    EXPECT_EQ(fetch_seq(), 8);
}

TEST_F(Streams, AFrameFromTheFutureIsTaken) {
    VencRecord record = frame_record(0, 5);
    record.published_us += 60'000'000;
    board_.publish(bytes_of(record, "12345"));
    EXPECT_EQ(fetch_seq(), 0);
}

TEST_F(Streams, AFrameThatDoesNotFitIsALossAndGone) {
    publish_frame(0);
    publish_frame(1);
    EXPECT_EQ(fetch(4), -2);
    EXPECT_EQ(payload_[0], '\0');
    EXPECT_EQ(fetch_seq(), 1);
}

TEST_F(Streams, AFrameThatJustFitsIsTaken) {
    publish_frame(0);
    EXPECT_EQ(fetch(5), 0);
    EXPECT_EQ(info_.len, 5U);
}

TEST_F(Streams, SilenceEndsAnswersAndFetchesWaitAgain) {
    publish_answer(-1, 0, 41);
    EXPECT_EQ(fetch(), -1);
    VencRecord record{};
    record.magic = venc_magic;
    record.kind = venc_silence;
    board_.publish(bytes_of(record));
    ASSERT_TRUE(support::eventually([this] { return fetch() == 0; }));
    const uint64_t before_us = monotonic_us();
    EXPECT_EQ(fetch(), 0);
    EXPECT_GE(monotonic_us() - before_us, 80'000U);
    publish_answer(-1, 0, 42);
    ASSERT_TRUE(support::eventually([this] { return fetch() == -1; }));
    publish_frame(0);
    ASSERT_TRUE(support::eventually([this] { return fetch() == 0 && info_.len == 5; }));
}

TEST_F(Streams, AnswersAreGivenCountedAndReported) {
    publish_answer(-1, 3, 41);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(fetch(), -1);
    }
    const AnswersUsedUp expected = {venc_magic, 41};
    ASSERT_TRUE(support::eventually([&] { return !board_.messages().empty(); }));
    EXPECT_EQ(board_.messages()[0], std::string(reinterpret_cast<const char *>(&expected), sizeof expected));
    publish_frame(0);
    EXPECT_EQ(fetch_seq(), 0);
    EXPECT_EQ(board_.messages().size(), 1U);
}

TEST_F(Streams, ARepeatedAnswerDoesNotCountAnew) {
    publish_answer(-2, 2, 41);
    EXPECT_EQ(fetch(), -2);
    publish_answer(-2, 2, 41);
    EXPECT_EQ(fetch(), -2);
    publish_answer(-2, 2, 41);
    EXPECT_EQ(fetch_seq(), -1);
}

TEST_F(Streams, ANewAnswerReplacesTheOneInForce) {
    publish_answer(-1, 0, 41);
    EXPECT_EQ(fetch(), -1);
    publish_answer(0, 1, 42);
    EXPECT_EQ(fetch(), 0);
    EXPECT_EQ(info_.len, 0U);
    ASSERT_TRUE(support::eventually([&] { return board_.messages().size() == 1; }));
}

TEST_F(Streams, AnswersWithoutANumberHoldUntilTheNextFrame) {
    publish_answer(-1, 0, 41);
    for (int i = 0; i < 300; ++i) {
        ASSERT_EQ(fetch(), -1);
    }
    publish_frame(0);
    EXPECT_EQ(fetch_seq(), 0);
}

TEST_F(Streams, AMessageMeansNothing) {
    board_.publish_message("hello");
    publish_frame(0);
    EXPECT_EQ(fetch_seq(), 0);
}

struct Bad {
    const char *name;
    std::string bytes;
};

void PrintTo(const Bad &bad, std::ostream *out) {
    *out << bad.name;
}

VencRecord changed(void (*change)(VencRecord &record)) {
    VencRecord record = frame_record(0, 5);
    change(record);
    return record;
}

class BadRecord : public Streams, public testing::WithParamInterface<Bad> {};

TEST_P(BadRecord, EndsTheBoardForGood) {
    board_.publish(GetParam().bytes);
    EXPECT_EQ(fetch(), -1);
    publish_frame(1);
    EXPECT_EQ(fetch(), -1);
    EXPECT_EQ(req_IDR(), -1);
}

INSTANTIATE_TEST_SUITE_P(
    Records, BadRecord,
    testing::Values(Bad{"OneByte", "x"}, Bad{"CutShort", bytes_of(frame_record(0, 5)).substr(0, 63)},
                    Bad{"Magic", bytes_of(changed([](VencRecord &r) { r.magic = 1; }), "12345")},
                    Bad{"Kind", bytes_of(changed([](VencRecord &r) { r.kind = 3; }), "12345")},
                    Bad{"LengthOfNothing", bytes_of(frame_record(0, 0))},
                    Bad{"LengthTooLarge", bytes_of(frame_record(0, 6), "12345")},
                    Bad{"LengthTooSmall", bytes_of(frame_record(0, 4), "12345")},
                    Bad{"LengthHuge", bytes_of(frame_record(0, 0xFFFFFFFF), "12345")},
                    Bad{"AnswerThatIsASuccess",
                        bytes_of(changed([](VencRecord &r) { r.kind = venc_answer, r.result = 1; }))},
                    Bad{"AnswerOutOfRange",
                        bytes_of(changed([](VencRecord &r) { r.kind = venc_answer, r.result = -3; }))},
                    Bad{"AnswerWithPayload",
                        bytes_of(changed([](VencRecord &r) { r.kind = venc_answer; }), "12345")}),
    [](const auto &test) { return test.param.name; });

} // namespace
