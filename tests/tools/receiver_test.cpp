// The blocking receiver, on a channel of the test's own: what it makes of good, odd and hostile broadcasters.

#include "strellctl/receiver.h"

#include "strellctl/clock.h"
#include "strellctl/failure.h"
#include "strellctl/status_follow.h"
#include "support/channel_fixture.h"
#include "support/scratch.h"

#include <csignal>
#include <gtest/gtest.h>
#include <memory>

using ctl::Receiver;

namespace {

const ctl::Stream &stream = ctl::streams[0];

/* A moment that no test reaches. */
uint64_t far_away() {
    return ctl::monotonic_us() + 20 * ctl::us_per_s;
}

class ReceiverTest : public testing::Test {
  protected:
    void SetUp() override {
        channel_ = std::make_unique<support::TestChannel>(stream.path);
        ASSERT_EQ(channel_->start_result, 0);
    }

    /* Publishes a frame whose header says that it has `length` bytes of payload. */
    void publish(const std::string &payload, uint32_t length, uint32_t sequence = 0) {
        VideoFrameInfo info{};
        info.seq = sequence;
        info.len = length;
        const auto size = static_cast<uint32_t>(sizeof info + payload.size());
        void *buffer = shbfev_brd_alloc(channel_->brd, size);
        ASSERT_NE(buffer, nullptr);
        std::memcpy(buffer, &info, sizeof info);
        std::memcpy(static_cast<char *>(buffer) + sizeof info, payload.data(), payload.size());
        shbf_set_size(buffer, size);
        ASSERT_GE(shbfev_brd_broadcast(channel_->brd, buffer), 0);
    }

    support::ScratchRunDir dir_;
    std::unique_ptr<support::TestChannel> channel_;
    ctl::Interrupt interrupt_;
};

TEST_F(ReceiverTest, GetsFramesInOrder) {
    Receiver video(stream);
    ASSERT_TRUE(channel_->saw("new 1"));
    publish("first", 5, 1);
    publish("second", 6, 2);
    ASSERT_EQ(video.wait(far_away(), interrupt_), Receiver::Outcome::frame);
    EXPECT_EQ(video.frame().payload, "first");
    EXPECT_LE(video.received_us(), ctl::monotonic_us());
    ASSERT_EQ(video.wait(far_away(), interrupt_), Receiver::Outcome::frame);
    EXPECT_EQ(video.frame().payload, "second");
    EXPECT_EQ(video.frame().info.seq, 2U);
    EXPECT_EQ(video.skipped(), 0U);
}

TEST_F(ReceiverTest, GivesEveryFrameBack) {
    Receiver video(stream);
    ASSERT_TRUE(channel_->saw("new 1"));
    for (uint32_t i = 0; i < 200; ++i) { // far more than it may hold
        publish("frame", 5, i);
        ASSERT_EQ(video.wait(far_away(), interrupt_), Receiver::Outcome::frame);
        ASSERT_EQ(video.frame().info.seq, i);
    }
    EXPECT_EQ(video.skipped(), 0U);
}

TEST_F(ReceiverTest, WaitsNoLongerThanTold) {
    Receiver video(stream);
    EXPECT_EQ(video.wait(0, interrupt_), Receiver::Outcome::time_is_up);
    EXPECT_EQ(video.wait(ctl::monotonic_us() + 20000, interrupt_), Receiver::Outcome::time_is_up);
}

TEST_F(ReceiverTest, ASignalEndsTheWait) {
    Receiver video(stream);
    std::raise(SIGINT);
    EXPECT_TRUE(interrupt_.happened());
    EXPECT_EQ(video.wait(far_away(), interrupt_), Receiver::Outcome::interrupted);
}

TEST_F(ReceiverTest, NoticesThatTheBroadcasterHasGone) {
    Receiver video(stream);
    ASSERT_TRUE(channel_->saw("new 1"));
    channel_.reset();
    EXPECT_EQ(video.wait(far_away(), interrupt_), Receiver::Outcome::gone);
    EXPECT_FALSE(video.request_key_frame());
}

TEST_F(ReceiverTest, AsksForAKeyFrameAsTheDaemonUnderstandsIt) {
    Receiver video(stream);
    EXPECT_TRUE(video.request_key_frame());
    EXPECT_TRUE(channel_->saw(std::string("message 1 REQ_IDR") + '\0'));
}

TEST_F(ReceiverTest, WhatIsNoVideoFrameIsRefused) {
    Receiver video(stream);
    ASSERT_TRUE(channel_->saw("new 1"));
    publish("payload", 8);
    EXPECT_THROW(video.wait(far_away(), interrupt_), ctl::Failure);
    publish("", 0);
    EXPECT_THROW(video.wait(far_away(), interrupt_), ctl::Failure);
    ASSERT_GE(channel_->publish(7, 0xff), 0);
    EXPECT_THROW(video.wait(far_away(), interrupt_), ctl::Failure);
    publish("good", 4);
    EXPECT_EQ(video.wait(far_away(), interrupt_), Receiver::Outcome::frame) << "and given back";
}

TEST(Attaching, WithoutABroadcasterSaysWhatToDo) {
    const support::ScratchRunDir dir;
    try {
        const Receiver video(stream);
        FAIL() << "there is nobody";
    } catch (const ctl::Failure &failure) {
        EXPECT_EQ(failure.what(), ctl::attach_failure(stream, ENOENT));
    }
}

TEST(Attaching, EveryReasonHasItsSentence) {
    for (const int error : {ENOENT, ENOSPC, ETIMEDOUT, EACCES, EPROTO}) {
        const std::string text = ctl::attach_failure(stream, error);
        EXPECT_FALSE(text.empty());
        EXPECT_EQ(text == ctl::attach_failure(stream, ECONNREFUSED), error == ENOENT) << text;
    }
}

TEST(FollowedStream, TellsItsStateInALine) {
    ctl::FollowedStream::State state = {.stream = &stream,
                                        .attached = false,
                                        .receivers = 0,
                                        .format = std::nullopt,
                                        .fps = 0,
                                        .bits_per_s = 0,
                                        .frames = 0,
                                        .lost = 0};
    EXPECT_EQ(ctl::state_line(state), "main  waits for strell_v2");
    state.attached = true;
    state.receivers = 1;
    EXPECT_EQ(ctl::state_line(state), "main  no frames yet  1 receiver");
    state.frames = 7;
    EXPECT_EQ(ctl::state_line(state), "main  ?   0.0 fps  0 bit/s  1 receiver");
    state.format = ctl::StreamFormat{ctl::Codec::h265, 2560, 1440};
    state.fps = 15;
    state.bits_per_s = 1380000;
    state.receivers = 3;
    EXPECT_EQ(ctl::state_line(state), "main  H.265 2560x1440  15.0 fps  1.38 Mbit/s  3 receivers");
}

} // namespace
