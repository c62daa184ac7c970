// libalgo_kit's side of the channel against a board that means harm: a channel of the test's own in boardd's
// place.

#include "algo_kit/session.h"
#include "board/client/control_call.h"
#include "support/channel_fixture.h"

#include <gtest/gtest.h>

namespace {

using namespace algo_kit;

class AlgoSession : public testing::Test {
  protected:
    /* A session with that channel, and without a control connection. */
    AlgoSession() {
        const shbf_rcv_options_t options = {64, 10000};
        session_ = {-1, 1, shbf_rcv_open(board::algo_path, &options)};
        EXPECT_NE(session_.receiver, nullptr);
    }
    ~AlgoSession() override { session_close(session_); }

    /* Broadcasts a direction to the right, published at that time. False when there was no room. */
    bool publish(uint64_t published_us) {
        struct {
            board::AlgoRecord record;
            TrackDirection direction;
        } message = {};
        message.record.magic = board::algo_magic;
        message.record.kind = board::venc_frame;
        message.record.published_us = published_us;
        message.record.info.what = board::algo_direction;
        message.record.info.len = sizeof message.direction;
        message.direction = {5, 0, 0};
        constexpr uint32_t bytes = sizeof message.record + sizeof message.direction;
        void *buffer = shbfev_brd_alloc(channel_.brd, bytes);
        if (buffer == nullptr) {
            return false;
        }
        std::memcpy(buffer, &message, bytes);
        shbf_set_size(buffer, bytes);
        return shbfev_brd_broadcast(channel_.brd, buffer) > 0;
    }

    support::ScratchRunDir dir_;
    support::TestChannel channel_{board::algo_path};
    Session session_ = closed_session;
};

TEST_F(AlgoSession, ATakePassesOverOnlySoMuchThatIsTooOld) {
    for (int i = 0; i < session_takes_most; ++i) {
        ASSERT_TRUE(publish(0));
    }
    ASSERT_TRUE(publish(board::monotonic_us() + 1000000000)); // one that stays new, however slow this is
    Detection detection;
    EXPECT_EQ(session_take(session_, &detection), Taken::more);
    ASSERT_EQ(session_take(session_, &detection), Taken::detection) << "and it is not lost";
    EXPECT_EQ(detection.direction.horizontal, 5);
    EXPECT_EQ(session_take(session_, &detection), Taken::nothing);
}

} // namespace
