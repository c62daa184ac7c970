// The arenas of a channel: when a smaller one takes the place of the first, when a full one comes back, and
// what buffers and receivers notice of it, which is nothing.

#include "libshbf.h"
#include "libshbf_receiver.h"
#include "shbf/memory.h"
#include "support/channel_fixture.h"

#include <gtest/gtest.h>
#include <memory>
#include <unistd.h>

using support::eventually;
using support::TestChannel;

namespace {

constexpr const char *path = "/run/test_channel";
constexpr uint32_t capacity = 400000;
constexpr uint32_t full_bytes = shbf::arena_buffers * capacity;

uint32_t in_pages(uint32_t bytes) {
    const auto page = static_cast<uint32_t>(sysconf(_SC_PAGESIZE));
    return (bytes + page - 1) / page * page;
}

class ShbfMemory : public testing::Test {
  protected:
    static shbf_channel_info_t query() {
        shbf_channel_info_t info{};
        EXPECT_EQ(shbf_channel_query(path, &info, 5000), 0);
        return info;
    }
    void open() {
        receiver_.reset(shbf_rcv_open(path, nullptr));
        ASSERT_NE(receiver_, nullptr);
    }
    void publish(uint32_t size) { ASSERT_GE(channel_.publish(size, ++fill_, capacity), 0); }

    /* Publishes so many frames as it takes until another arena is due, and one more, which is in it. */
    void publish_until_shrunk(uint32_t size) {
        for (uint32_t i = 0; i <= shbf::shrink_after; ++i) {
            publish(size);
        }
    }

    /* The next frame, whole; it is held. */
    shbf_frame_t next() {
        shbf_event_t event{};
        EXPECT_EQ(shbf_rcv_next(receiver_.get(), &event, 10000), 1);
        EXPECT_EQ(event.kind, SHBF_EVENT_FRAME);
        EXPECT_EQ(event.frame.skipped, 0U);
        return event.frame;
    }
    static bool filled(const shbf_frame_t &frame, uint8_t fill) {
        const auto *bytes = static_cast<const uint8_t *>(frame.data);
        return bytes[0] == fill && bytes[frame.size - 1] == fill;
    }
    void release(const shbf_frame_t &frame) { shbf_rcv_release(receiver_.get(), &frame); }

    struct Close {
        void operator()(shbf_rcv_t *receiver) const { shbf_rcv_close(receiver); }
    };
    support::ScratchRunDir run_dir_;
    TestChannel channel_{path};
    std::unique_ptr<shbf_rcv_t, Close> receiver_;
    uint8_t fill_ = 0;
};

TEST_F(ShbfMemory, AChannelThatNeedsLittleForLongGetsASmallerArena) {
    for (uint32_t i = 0; i + 1 < shbf::shrink_after; ++i) {
        publish(1000);
    }
    EXPECT_EQ(query().arena_bytes, in_pages(full_bytes));
    publish(1000);
    EXPECT_EQ(query().arena_bytes, in_pages(2 * capacity));
}

TEST_F(ShbfMemory, WhatIsInFlightCountsTwice) {
    open();
    publish(30016);
    const shbf_frame_t held = next();
    for (uint32_t i = 0; i <= shbf::shrink_after; ++i) {
        publish(1000);
        release(next());
    }
    release(held);
    publish(1000);
    EXPECT_EQ(query().arena_bytes, in_pages(2 * capacity + 2 * 30016));
}

TEST_F(ShbfMemory, AChannelThatNeedsMuchKeepsItsArena) {
    open();
    shbf_frame_t held[2];
    for (shbf_frame_t &frame : held) {
        publish(capacity / 2);
        frame = next();
    }
    for (uint32_t i = 0; i <= 2 * shbf::shrink_after; ++i) {
        publish(1000);
        release(next());
    }
    EXPECT_EQ(query().arena_bytes, in_pages(full_bytes));
}

TEST_F(ShbfMemory, TheSmallestArenaDoesNotShrink) {
    for (uint32_t i = 0; i <= 2 * shbf::shrink_after; ++i) {
        ASSERT_GE(channel_.publish(100), 0);
    }
    EXPECT_EQ(query().arena_bytes, shbf::arena_least_bytes);
}

TEST_F(ShbfMemory, AFullArenaComesBackAtOnceWhenTheSmallOneIsShort) {
    publish_until_shrunk(1000);
    ASSERT_EQ(query().arena_bytes, in_pages(2 * capacity));
    void *buffers[4];
    for (void *&buffer : buffers) {
        buffer = shbfev_brd_alloc(channel_.brd, capacity);
        ASSERT_NE(buffer, nullptr) << "as many as ever";
    }
    for (void *buffer : buffers) {
        shbf_free(buffer);
    }
    shbf_free(shbfev_brd_alloc(channel_.brd, capacity));
    EXPECT_EQ(query().arena_bytes, in_pages(full_bytes));
    EXPECT_EQ(query().arena_used, 0U);
}

TEST_F(ShbfMemory, ABufferLargerThanTheSmallArenaBringsTheFullOneBack) {
    publish_until_shrunk(1000);
    void *large = shbfev_brd_alloc(channel_.brd, 3 * capacity);
    ASSERT_NE(large, nullptr);
    shbf_free(large);
}

TEST_F(ShbfMemory, ReceiversFollowFromOneArenaToTheNextAndMissNothing) {
    open();
    for (int turn = 0; turn < 3; ++turn) {
        // Each time that the full one has to come back it takes twice as many. What was needed much at the
        // end of the turn before is still in the first half.
        const uint32_t patience = shbf::shrink_after << turn;
        for (uint32_t i = 0; i <= 2 * patience; ++i) {
            if (i == patience / 2 + 10) {
                EXPECT_EQ(query().arena_bytes, in_pages(full_bytes));
            }
            publish(1000);
            const shbf_frame_t frame = next();
            ASSERT_TRUE(filled(frame, fill_));
            release(frame);
        }
        EXPECT_LT(query().arena_bytes, in_pages(full_bytes));
        for (int i = 0; i < 2; ++i) { // that much in flight: short
            publish(capacity);
            const shbf_frame_t frame = next();
            ASSERT_TRUE(filled(frame, fill_));
            publish(capacity);
            release(frame);
            const shbf_frame_t second = next();
            ASSERT_TRUE(filled(second, fill_));
            release(second);
        }
        publish(1000);
        release(next());
        EXPECT_EQ(query().arena_bytes, in_pages(full_bytes));
    }
    EXPECT_TRUE(eventually([&] { return query().arena_used == 0; }));
}

TEST_F(ShbfMemory, WhatIsHeldInTheOldArenaStaysUntilItIsReleased) {
    open();
    publish(1000);
    const uint8_t fill = fill_;
    const shbf_frame_t held = next();
    for (uint32_t i = 0; i <= shbf::shrink_after; ++i) {
        publish(1000);
        release(next());
    }
    EXPECT_EQ(query().arena_bytes, in_pages(full_bytes) + in_pages(2 * capacity + 2 * 1024)) << "both";
    EXPECT_TRUE(filled(held, fill));
    for (uint32_t i = 0; i <= 2 * shbf::shrink_after; ++i) {
        publish(1000);
        release(next());
    }
    EXPECT_TRUE(filled(held, fill)) << "no third arena comes in its place";
    release(held);
    EXPECT_EQ(query().arena_bytes, in_pages(2 * capacity + 2 * 1024));
}

TEST_F(ShbfMemory, WhoHoldsOnToTheOldArenaDoesNotKeepTheFullOneAway) {
    open();
    publish(1000);
    next(); // and never released
    for (uint32_t i = 0; i <= shbf::shrink_after; ++i) {
        publish(1000);
        release(next());
    }
    ASSERT_EQ(query().arena_bytes, in_pages(full_bytes) + in_pages(2 * capacity + 2 * 1024)) << "both";
    EXPECT_TRUE(eventually([&] {
        void *large = shbfev_brd_alloc(channel_.brd, 3 * capacity);
        shbf_free(large);
        return large != nullptr;
    }));
    EXPECT_EQ(query().arena_bytes, in_pages(full_bytes));
    EXPECT_EQ(shbf_rcv_intact(receiver_.get()), 0) << "it is told";
}

TEST_F(ShbfMemory, WhoHoldsOnToTheOldArenaDoesNotCostTheOthersTheirs) {
    open();
    publish(1000);
    next();
    const std::unique_ptr<shbf_rcv_t, Close> good(shbf_rcv_open(path, nullptr));
    ASSERT_NE(good, nullptr);
    shbf_frame_t kept{};
    const auto one_more = [&](uint32_t size) { // it keeps up, and has one in hand
        void *buffer = shbfev_brd_alloc(channel_.brd, capacity);
        if (buffer != nullptr) {
            shbf_set_size(buffer, size);
            shbfev_brd_broadcast(channel_.brd, buffer);
        }
        shbf_event_t event{};
        if (shbf_rcv_next(good.get(), &event, 0) == 1) {
            shbf_rcv_release(good.get(), &kept);
            kept = event.frame;
        }
        shbf_event_t ignored{};
        if (shbf_rcv_next(receiver_.get(), &ignored, 0) == 1) {
            shbf_rcv_release(receiver_.get(), &ignored.frame);
        }
    };
    for (uint32_t i = 0; i <= shbf::shrink_after + 1; ++i) {
        one_more(1000);
    }
    ASSERT_LT(query().arena_bytes, 2 * in_pages(full_bytes));
    EXPECT_TRUE(eventually([&] {
        one_more(capacity);
        return query().arena_bytes == in_pages(full_bytes);
    })) << "what was held back is free, and the full arena there";
    EXPECT_EQ(shbf_rcv_intact(good.get()), 1);
    EXPECT_EQ(shbf_rcv_intact(receiver_.get()), 0);
}

TEST_F(ShbfMemory, ABufferThatWasAllocatedInTheOldArenaCanBePublished) {
    open();
    void *buffer = shbfev_brd_alloc(channel_.brd, capacity);
    ASSERT_NE(buffer, nullptr);
    memset(buffer, 77, 1000);
    ASSERT_EQ(shbf_set_size(buffer, 1000), 0);
    for (uint32_t i = 0; i <= shbf::shrink_after; ++i) {
        publish(1000);
        release(next());
    }
    // One that attaches only now has not seen that arena.
    std::unique_ptr<shbf_rcv_t, Close> late(shbf_rcv_open(path, nullptr));
    ASSERT_NE(late, nullptr);
    ASSERT_EQ(shbfev_brd_broadcast(channel_.brd, buffer), 2);
    const shbf_frame_t frame = next();
    EXPECT_TRUE(filled(frame, 77));
    release(frame);
    shbf_event_t event{};
    ASSERT_EQ(shbf_rcv_next(late.get(), &event, 10000), 1);
    EXPECT_TRUE(filled(event.frame, 77));
    shbf_rcv_release(late.get(), &event.frame);
    EXPECT_TRUE(eventually([&] { return query().arena_used == 0; }));
}

TEST_F(ShbfMemory, ABufferOfTheOldArenaMayBePublishedAfterTheEnd) {
    void *buffer = shbfev_brd_alloc(channel_.brd, capacity);
    ASSERT_EQ(shbf_set_size(buffer, 1000), 0);
    publish_until_shrunk(1000);
    ASSERT_GT(query().arena_bytes, in_pages(full_bytes)) << "both";
    channel_.destroy();
    EXPECT_EQ(shbfev_brd_broadcast(channel_.brd, buffer), 0);
    EXPECT_EQ(shbfev_brd_broadcast(channel_.brd, buffer), -EINVAL) << "it has been taken";
}

TEST_F(ShbfMemory, ADestroyedChannelKeepsNoArena) {
    open();
    void *buffer = shbfev_brd_alloc(channel_.brd, capacity);
    publish_until_shrunk(1000);
    channel_.destroy();
    shbf_free(buffer);
    shbf_free(buffer);
    void *late = shbfev_brd_alloc(channel_.brd, capacity);
    ASSERT_NE(late, nullptr);
    memset(late, 1, capacity);
    shbf_free(late);
}

} // namespace
