// libboardav's side of the microphone, with a board that sends whatever the test says. One test for each
// process, since libboardav connects once.

#include "board/client/control_call.h"
#include "libboardav.h"
#include "platform/board/fake_board.h"
#include "support/eventually.h"
#include "support/scratch.h"

#include <cstring>
#include <gtest/gtest.h>

namespace {

using namespace board;
using fake::block_record;
using fake::bytes_of;

class MicrophoneClient : public testing::Test {
  protected:
    MicrophoneClient() { EXPECT_EQ(board_system_init(1), 0); }

    int32_t fetch(uint32_t capacity = sizeof payload_) {
        std::memset(&info_, 0xEE, sizeof info_);
        return get_audio_stream(payload_, capacity, &info_);
    }

    /* What a fetch brings as text; "(-1)" for a failure. */
    std::string fetch_text(uint32_t capacity = sizeof payload_) {
        const int32_t result = fetch(capacity);
        return result < 0 ? "(" + std::to_string(result) + ")" : std::string(payload_, info_.len);
    }

    support::ScratchRunDir run_dir_;
    fake::FakeBoard board_;
    char payload_[1280] = "";
    AudioFrameInfo info_{};
};

TEST_F(MicrophoneClient, HeaderAndPayloadArriveAsTheyWereSent) {
    MicRecord record = block_record(6, 0x123456789ABCDEF0);
    record.info.board4 = 4;
    record.info.board28 = 28;
    board_.publish_block(bytes_of(record, "123456"));
    EXPECT_EQ(fetch_text(), "123456");
    EXPECT_EQ(std::memcmp(&info_, &record.info, sizeof info_), 0);
}

TEST_F(MicrophoneClient, NothingInTimeIsAnEmptyBlockWithAWholeHeader) {
    const AudioFrameInfo empty{};
    EXPECT_EQ(fetch(), 0);
    EXPECT_EQ(std::memcmp(&info_, &empty, sizeof info_), 0);
}

TEST_F(MicrophoneClient, ABlockTooLargeComesInParts) {
    board_.publish_block(bytes_of(block_record(10, 1'000'000), "0123456789"));
    board_.publish_block(bytes_of(block_record(2, 2'000'000), "ab"));
    EXPECT_EQ(fetch_text(5), "0123") << "whole samples only";
    EXPECT_EQ(info_.timestamp_us, 1'000'000U);
    EXPECT_EQ(fetch_text(4), "4567");
    EXPECT_EQ(info_.timestamp_us, 1'000'125U) << "two samples later";
    EXPECT_EQ(fetch_text(4), "89");
    EXPECT_EQ(fetch_text(4), "ab");
    EXPECT_EQ(info_.timestamp_us, 2'000'000U);
}

TEST_F(MicrophoneClient, WhatMakesNoSenseIsRefused) {
    EXPECT_EQ(get_audio_stream(nullptr, 1280, &info_), -1);
    EXPECT_EQ(get_audio_stream(payload_, 1280, nullptr), -1);
    EXPECT_EQ(get_audio_stream(payload_, 1, &info_), -1);
    EXPECT_EQ(play_sound(nullptr, 2), -1);
    EXPECT_EQ(play_sound(payload_, -2), -1);
}

TEST_F(MicrophoneClient, OldBlocksAreDropped) {
    MicRecord old = block_record(2, 1);
    old.published_us = monotonic_us() - mic_fetch_within_us - 1;
    board_.publish_block(bytes_of(old, "xx"));
    board_.publish_block(bytes_of(block_record(2, 2), "ab"));
    EXPECT_EQ(fetch_text(), "ab");
}

TEST_F(MicrophoneClient, TheRestOfABlockThatBecameOldIsDropped) {
    MicRecord record = block_record(4, 1);
    record.published_us = monotonic_us() - mic_fetch_within_us + 500'000;
    board_.publish_block(bytes_of(record, "abcd"));
    board_.publish_block(bytes_of(block_record(4, 2), "efgh"));
    ASSERT_EQ(fetch_text(2), "ab");
    ASSERT_TRUE(
        support::eventually([&] { return monotonic_us() > record.published_us + mic_fetch_within_us; }));
    EXPECT_EQ(fetch_text(), "efgh") << "from its beginning";
}

TEST_F(MicrophoneClient, AnswersAreCountedAndReported) {
    MicRecord answer{};
    answer.magic = mic_magic;
    answer.kind = venc_answer;
    answer.result = -1;
    answer.count = 3;
    answer.serial = 1;
    board_.publish_block(bytes_of(answer));
    board_.publish_block(bytes_of(answer)); // repeated, as boardd does
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(fetch(), -1);
    }
    board_.publish_block(bytes_of(block_record(2, 2), "ab"));
    EXPECT_EQ(fetch_text(), "ab");
}

struct Nonsense {
    const char *name;
    void (*spoil)(MicRecord &record);
};

class MicrophoneNonsense : public MicrophoneClient, public testing::WithParamInterface<Nonsense> {};

TEST_P(MicrophoneNonsense, EndsTheLink) {
    MicRecord record = block_record(2, 2);
    GetParam().spoil(record);
    board_.publish_block(bytes_of(record, "ab"));
    EXPECT_EQ(fetch(), -1);
    board_.publish_block(bytes_of(block_record(2, 3), "cd"));
    EXPECT_EQ(fetch(), -1) << "a board that talks nonsense has failed for good";
}

INSTANTIATE_TEST_SUITE_P(Records, MicrophoneNonsense,
                         testing::Values(Nonsense{"magic",
                                                  [](MicRecord &record) { record.magic = venc_magic; }},
                                         Nonsense{"kind", [](MicRecord &record) { record.kind = 3; }},
                                         Nonsense{"longer", [](MicRecord &record) { record.info.len = 4; }},
                                         Nonsense{"shorter", [](MicRecord &record) { record.info.len = 1; }},
                                         Nonsense{"empty", [](MicRecord &record) { record.info.len = 0; }}),
                         [](const auto &test) { return std::string(test.param.name); });

} // namespace
