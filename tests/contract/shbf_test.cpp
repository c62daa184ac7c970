// libshbf and libshbfev, the broadcaster's side: the life of a channel and of a buffer.

#include "libshbf_receiver.h"
#include "shbf/wire.h"
#include "support/channel_fixture.h"

#include <cerrno>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using support::TestChannel;

namespace {

constexpr uint32_t arena_least_bytes = 65536;

class Shbf : public testing::Test {
  protected:
    static constexpr const char *path = "/run/test_channel";

    static shbf_channel_info_t query() {
        shbf_channel_info_t info{};
        EXPECT_EQ(shbf_channel_query(path, &info, 5000), 0);
        return info;
    }

    support::ScratchRunDir run_dir_;
};

struct ReceiverCloser {
    void operator()(shbf_rcv_t *receiver) const { shbf_rcv_close(receiver); }
};
using ReceiverHandle = std::unique_ptr<shbf_rcv_t, ReceiverCloser>;

ReceiverHandle attach(const char *path, uint32_t window = 0) {
    const shbf_rcv_options_t options = {window, 5000};
    return ReceiverHandle(shbf_rcv_open(path, &options));
}

// ---- creating and starting ----

TEST_F(Shbf, CreateRefusesPathsThatAreNotUnderRun) {
    EXPECT_EQ(shbfev_brd_create(nullptr), nullptr);
    EXPECT_EQ(shbfev_brd_create(""), nullptr);
    EXPECT_EQ(shbfev_brd_create("/tmp/x"), nullptr);
    EXPECT_EQ(shbfev_brd_create("/run"), nullptr);
    EXPECT_EQ(shbfev_brd_create("/run/"), nullptr);
}

TEST_F(Shbf, CreateRefusesAPathTooLongForASocket) {
    EXPECT_EQ(shbfev_brd_create(("/run/" + std::string(108, 'x')).c_str()), nullptr);
}

TEST_F(Shbf, NothingIsVisibleBeforeStart) {
    shbfev_brd_t *brd = shbfev_brd_create(path);
    ASSERT_NE(brd, nullptr);
    EXPECT_NE(access(run_dir_.file("test_channel").c_str(), F_OK), 0);
    shbfev_brd_destroy(brd);
}

TEST_F(Shbf, StartMakesTheSocketAndDestroyRemovesIt) {
    TestChannel channel(path);
    EXPECT_GE(channel.start_result, 0);
    EXPECT_EQ(access(run_dir_.file("test_channel").c_str(), F_OK), 0);
    channel.destroy();
    EXPECT_NE(access(run_dir_.file("test_channel").c_str(), F_OK), 0);
}

TEST_F(Shbf, StartFailsWhenALivingProcessServesThePath) {
    TestChannel first(path);
    TestChannel second(path);
    EXPECT_EQ(second.start_result, -EADDRINUSE);
    EXPECT_NE(attach(path), nullptr) << "the first one still serves";
}

TEST_F(Shbf, StartReplacesTheSocketOfACrashedProcess) {
    const int stale = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, run_dir_.file("test_channel").c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(bind(stale, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    close(stale);
    TestChannel channel(path);
    EXPECT_GE(channel.start_result, 0);
    EXPECT_NE(attach(path), nullptr);
}

TEST_F(Shbf, StartLeavesAFileThatIsNoSocketAlone) {
    std::ofstream(run_dir_.file("test_channel")) << "precious";
    TestChannel channel(path);
    EXPECT_EQ(channel.start_result, -EEXIST);
    channel.destroy();
    EXPECT_EQ(access(run_dir_.file("test_channel").c_str(), F_OK), 0);
}

TEST_F(Shbf, StartFailsWithoutTheDirectory) {
    setenv("STRELL_RUN_DIR", run_dir_.file("missing").c_str(), 1);
    TestChannel channel(path);
    EXPECT_EQ(channel.start_result, -ENOENT);
}

TEST_F(Shbf, ANullChannelFailsEverywhere) {
    EXPECT_EQ(shbfev_brd_event(nullptr, 1, nullptr, nullptr), -EINVAL);
    EXPECT_EQ(shbfev_brd_start(nullptr, nullptr), -EINVAL);
    EXPECT_EQ(shbfev_brd_alloc(nullptr, 10), nullptr);
    EXPECT_EQ(shbfev_brd_broadcast(nullptr, nullptr), -EINVAL);
    EXPECT_EQ(shbfev_brd_send(nullptr, 1, nullptr), -EINVAL);
    EXPECT_EQ(shbfev_brd_send_message(nullptr, 1, "x", 1), -EINVAL);
    EXPECT_EQ(shbfev_brd_broadcast_message(nullptr, "x", 1), -EINVAL);
    shbfev_brd_destroy(nullptr);
}

TEST_F(Shbf, EventCodesOutsideOneToFiveAreRefused) {
    shbfev_brd_t *brd = shbfev_brd_create(path);
    EXPECT_EQ(shbfev_brd_event(brd, 0, nullptr, nullptr), -EINVAL);
    EXPECT_EQ(shbfev_brd_event(brd, 6, nullptr, nullptr), -EINVAL);
    for (int code = 1; code <= 5; ++code) {
        EXPECT_EQ(shbfev_brd_event(brd, code, nullptr, nullptr), 0);
    }
    shbfev_brd_destroy(brd);
}

// ---- buffers ----

TEST_F(Shbf, BuffersAreAlignedWritableAndApart) {
    TestChannel channel(path);
    uint8_t *first = static_cast<uint8_t *>(shbfev_brd_alloc(channel.brd, 1000));
    uint8_t *second = static_cast<uint8_t *>(shbfev_brd_alloc(channel.brd, 1000));
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(first) % 64, 0U);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(second) % 64, 0U);
    EXPECT_GE(second < first ? first - second : second - first, 1000);
    memset(first, 1, 1000);
    memset(second, 2, 1000);
    EXPECT_EQ(first[999], 1);
    shbf_free(first);
    shbf_free(second);
}

TEST_F(Shbf, TheArenaIsFourTimesTheFirstSize) {
    TestChannel channel(path);
    EXPECT_EQ(query().arena_bytes, 0U) << "none before the first allocation";
    shbf_free(shbfev_brd_alloc(channel.brd, 409600 + 32));
    const uint32_t page = static_cast<uint32_t>(sysconf(_SC_PAGESIZE));
    const size_t wanted = size_t{4} * (409600 + 32);
    EXPECT_EQ(query().arena_bytes, (wanted + page - 1) / page * page);
}

TEST_F(Shbf, TheArenaHasALeastSize) {
    TestChannel channel(path);
    shbf_free(shbfev_brd_alloc(channel.brd, 10));
    EXPECT_EQ(query().arena_bytes, arena_least_bytes);
}

TEST_F(Shbf, AllocationFailsWhenTheArenaIsFullAndWorksAgainAfterAFree) {
    TestChannel channel(path);
    void *buffers[4];
    for (void *&buffer : buffers) {
        buffer = shbfev_brd_alloc(channel.brd, 65536);
        ASSERT_NE(buffer, nullptr);
    }
    EXPECT_EQ(shbfev_brd_alloc(channel.brd, 65536), nullptr);
    shbf_free(buffers[2]);
    void *again = shbfev_brd_alloc(channel.brd, 65536);
    EXPECT_EQ(again, buffers[2]);
    for (void *buffer : buffers) {
        shbf_free(buffer);
    }
    EXPECT_EQ(query().arena_used, 0U);
}

TEST_F(Shbf, AllocationOfMoreThanTheArenaFails) {
    TestChannel channel(path);
    shbf_free(shbfev_brd_alloc(channel.brd, 100));
    EXPECT_EQ(shbfev_brd_alloc(channel.brd, arena_least_bytes + 1), nullptr);
    EXPECT_EQ(shbfev_brd_alloc(channel.brd, UINT32_MAX), nullptr);
    void *whole = shbfev_brd_alloc(channel.brd, arena_least_bytes);
    EXPECT_NE(whole, nullptr);
    shbf_free(whole);
}

TEST_F(Shbf, SetSizeGivesTheTailBack) {
    TestChannel channel(path);
    void *buffer = shbfev_brd_alloc(channel.brd, 65536);
    EXPECT_EQ(shbf_get_size(buffer), 65536U);
    EXPECT_EQ(query().arena_used, 65536U);
    EXPECT_EQ(shbf_set_size(buffer, 1000), 0);
    EXPECT_EQ(shbf_get_size(buffer), 1000U);
    EXPECT_EQ(query().arena_used, 1024U) << "rounded up to a multiple of 64";
    shbf_free(buffer);
}

TEST_F(Shbf, SetSizeRefusesMoreThanWasAllocated) {
    TestChannel channel(path);
    void *buffer = shbfev_brd_alloc(channel.brd, 1000);
    EXPECT_EQ(shbf_set_size(buffer, 1001), -EMSGSIZE);
    EXPECT_EQ(shbf_get_size(buffer), 1000U);
    EXPECT_EQ(shbf_set_size(buffer, 1000), 0);
    EXPECT_EQ(shbf_set_size(buffer, 0), 0);
    shbf_free(buffer);
}

TEST_F(Shbf, WhatIsNoBufferIsRefused) {
    TestChannel channel(path);
    uint8_t *buffer = static_cast<uint8_t *>(shbfev_brd_alloc(channel.brd, 1000));
    int local = 0;
    for (void *wrong :
         {static_cast<void *>(nullptr), static_cast<void *>(&local), static_cast<void *>(buffer + 64)}) {
        EXPECT_EQ(shbf_set_size(wrong, 1), -EINVAL);
        EXPECT_EQ(shbf_get_size(wrong), 0U);
        EXPECT_EQ(shbfev_brd_broadcast(channel.brd, wrong), -EINVAL);
        EXPECT_EQ(shbfev_brd_send(channel.brd, 1, wrong), -EINVAL);
        shbf_free(wrong);
    }
    EXPECT_EQ(shbf_get_size(buffer), 1000U);
    shbf_free(buffer);
    EXPECT_EQ(shbf_set_size(buffer, 1), -EINVAL) << "no longer owned";
    shbf_free(buffer);
}

TEST_F(Shbf, ABufferOfAnotherChannelIsRefused) {
    TestChannel channel(path);
    TestChannel other("/run/other");
    void *buffer = shbfev_brd_alloc(other.brd, 100);
    EXPECT_EQ(shbfev_brd_broadcast(channel.brd, buffer), -EINVAL);
    EXPECT_EQ(shbf_get_size(buffer), 100U) << "the caller still owns it";
    shbf_free(buffer);
}

// ---- broadcasting ----

TEST_F(Shbf, BroadcastWithoutReceiversTakesTheBuffer) {
    TestChannel channel(path);
    void *buffer = shbfev_brd_alloc(channel.brd, 100);
    EXPECT_EQ(shbfev_brd_broadcast(channel.brd, buffer), 0);
    EXPECT_EQ(shbf_get_size(buffer), 0U);
    EXPECT_EQ(shbfev_brd_broadcast(channel.brd, buffer), -EINVAL);
    EXPECT_EQ(query().arena_used, 0U);
}

TEST_F(Shbf, BroadcastReachesEveryReceiver) {
    TestChannel channel(path);
    auto first = attach(path);
    auto second = attach(path);
    EXPECT_EQ(channel.publish(1000, 7), 2);
    for (shbf_rcv_t *receiver : {first.get(), second.get()}) {
        shbf_event_t event;
        ASSERT_EQ(shbf_rcv_next(receiver, &event, 5000), 1);
        ASSERT_EQ(event.kind, SHBF_EVENT_FRAME);
        EXPECT_EQ(event.frame.size, 1000U);
        EXPECT_EQ(event.frame.number, 1U);
        EXPECT_EQ(event.frame.skipped, 0U);
        EXPECT_EQ(static_cast<const uint8_t *>(event.frame.data)[999], 7);
    }
}

TEST_F(Shbf, TheMemoryIsFreeWhenTheLastHolderHasReleased) {
    TestChannel channel(path);
    auto first = attach(path);
    auto second = attach(path);
    channel.publish(1000);
    shbf_event_t a;
    shbf_event_t b;
    ASSERT_EQ(shbf_rcv_next(first.get(), &a, 5000), 1);
    ASSERT_EQ(shbf_rcv_next(second.get(), &b, 5000), 1);
    EXPECT_EQ(query().buffers, 1U);
    shbf_rcv_release(first.get(), &a.frame);
    EXPECT_EQ(query().buffers, 1U);
    shbf_rcv_release(second.get(), &b.frame);
    EXPECT_EQ(query().buffers, 0U);
}

TEST_F(Shbf, SendReachesOneReceiverAndLeavesTheBufferToTheCaller) {
    TestChannel channel(path);
    auto first = attach(path);
    auto second = attach(path);
    ASSERT_TRUE(channel.saw("new 2"));
    void *buffer = shbfev_brd_alloc(channel.brd, 100);
    EXPECT_EQ(shbfev_brd_send(channel.brd, 2, buffer), 0);
    EXPECT_EQ(shbf_get_size(buffer), 100U);
    EXPECT_EQ(shbfev_brd_send(channel.brd, 2, buffer), -EALREADY) << "it has not released it";
    EXPECT_EQ(shbfev_brd_send(channel.brd, 3, buffer), -ENOENT);
    EXPECT_EQ(shbf_set_size(buffer, 10), -EINVAL) << "others read it";
    shbf_free(buffer);
    EXPECT_EQ(query().buffers, 1U) << "the receiver holds it";
    shbf_event_t event;
    ASSERT_EQ(shbf_rcv_next(second.get(), &event, 5000), 1);
    EXPECT_EQ(event.frame.size, 100U);
    EXPECT_EQ(shbf_rcv_next(first.get(), &event, 0), 0);
}

TEST_F(Shbf, ABufferMayBeSentInTurnAndThenBroadcast) {
    TestChannel channel(path);
    auto first = attach(path);
    auto second = attach(path);
    auto third = attach(path);
    ASSERT_TRUE(channel.saw("new 3"));
    void *buffer = shbfev_brd_alloc(channel.brd, 100);
    EXPECT_EQ(shbfev_brd_send(channel.brd, 1, buffer), 0);
    EXPECT_EQ(shbfev_brd_send(channel.brd, 2, buffer), 0);
    EXPECT_EQ(shbfev_brd_broadcast(channel.brd, buffer), 1) << "only the third has not got it yet";
    for (shbf_rcv_t *receiver : {first.get(), second.get(), third.get()}) {
        shbf_event_t event;
        ASSERT_EQ(shbf_rcv_next(receiver, &event, 5000), 1);
        EXPECT_EQ(event.frame.number, 1U);
        EXPECT_EQ(shbf_rcv_next(receiver, &event, 0), 0);
    }
}

TEST_F(Shbf, ABufferIsSentToAReceiverOnceAlsoWhenItWasReleased) {
    TestChannel channel(path);
    auto receiver = attach(path);
    ASSERT_TRUE(channel.saw("new 1"));
    void *buffer = shbfev_brd_alloc(channel.brd, 100);
    ASSERT_EQ(shbfev_brd_send(channel.brd, 1, buffer), 0);
    EXPECT_EQ(shbfev_brd_send(channel.brd, 1, buffer), -EALREADY);
    shbf_event_t event;
    ASSERT_EQ(shbf_rcv_next(receiver.get(), &event, 5000), 1);
    shbf_rcv_release(receiver.get(), &event.frame);
    EXPECT_EQ(shbfev_brd_send(channel.brd, 1, buffer), -EALREADY)
        << "its old release would count for this one";
    EXPECT_EQ(shbfev_brd_broadcast(channel.brd, buffer), 0);
    EXPECT_EQ(shbf_rcv_next(receiver.get(), &event, 0), 0);
    EXPECT_EQ(query().buffers, 0U);
}

TEST_F(Shbf, ASuccessorInTheSamePlaceIsSentABufferThatItsPredecessorHad) {
    TestChannel channel(path);
    auto first = attach(path);
    ASSERT_TRUE(channel.saw("new 1"));
    void *buffer = shbfev_brd_alloc(channel.brd, 100);
    ASSERT_EQ(shbfev_brd_send(channel.brd, 1, buffer), 0);
    first.reset();
    ASSERT_TRUE(channel.saw("closed 1"));
    auto second = attach(path);
    ASSERT_TRUE(channel.saw("new 2"));
    EXPECT_EQ(shbfev_brd_send(channel.brd, 2, buffer), 0);
    shbf_free(buffer);
    EXPECT_EQ(query().buffers, 1U);
}

TEST_F(Shbf, FreeAfterBroadcastChangesNothing) {
    TestChannel channel(path);
    auto receiver = attach(path);
    void *buffer = shbfev_brd_alloc(channel.brd, 100);
    memset(buffer, 9, 100);
    EXPECT_EQ(shbfev_brd_broadcast(channel.brd, buffer), 1);
    shbf_free(buffer);
    EXPECT_EQ(query().buffers, 1U);
}

// ---- messages ----

TEST_F(Shbf, MessagesReachOneOrAll) {
    TestChannel channel(path);
    auto first = attach(path);
    auto second = attach(path);
    ASSERT_TRUE(channel.saw("new 2"));
    EXPECT_EQ(shbfev_brd_broadcast_message(channel.brd, "all", 4), 2);
    EXPECT_EQ(shbfev_brd_send_message(channel.brd, 2, "one", 3), 0);
    EXPECT_EQ(shbfev_brd_send_message(channel.brd, 9, "x", 1), -ENOENT);
    EXPECT_EQ(shbfev_brd_send_message(channel.brd, 0, "x", 1), -ENOENT);
    shbf_event_t event;
    ASSERT_EQ(shbf_rcv_next(first.get(), &event, 5000), 1);
    EXPECT_EQ(event.kind, SHBF_EVENT_MESSAGE);
    EXPECT_EQ(event.message.length, 4U);
    EXPECT_STREQ(static_cast<const char *>(event.message.bytes), "all");
    EXPECT_EQ(shbf_rcv_next(first.get(), &event, 0), 0);
    ASSERT_EQ(shbf_rcv_next(second.get(), &event, 5000), 1);
    ASSERT_EQ(shbf_rcv_next(second.get(), &event, 5000), 1);
    EXPECT_EQ(event.message.length, 3U);
}

TEST_F(Shbf, MessageSizesFromNothingToTheLimit) {
    TestChannel channel(path);
    auto receiver = attach(path);
    const std::string largest(SHBF_MESSAGE_MAX, 'm');
    const auto length = static_cast<int32_t>(largest.size());
    EXPECT_EQ(shbfev_brd_broadcast_message(channel.brd, "", 0), 1);
    EXPECT_EQ(shbfev_brd_broadcast_message(channel.brd, largest.data(), length), 1);
    EXPECT_EQ(shbfev_brd_broadcast_message(channel.brd, largest.data(), length + 1), -EMSGSIZE);
    EXPECT_EQ(shbfev_brd_broadcast_message(channel.brd, largest.data(), -1), -EMSGSIZE);
    EXPECT_EQ(shbfev_brd_broadcast_message(channel.brd, nullptr, 1), -EINVAL);
    shbf_event_t event;
    ASSERT_EQ(shbf_rcv_next(receiver.get(), &event, 5000), 1);
    EXPECT_EQ(event.message.length, 0U);
    ASSERT_EQ(shbf_rcv_next(receiver.get(), &event, 5000), 1);
    EXPECT_EQ(event.message.length, static_cast<uint32_t>(length));
    EXPECT_EQ(memcmp(event.message.bytes, largest.data(), largest.size()), 0);
}

TEST_F(Shbf, MessagesFromReceiversArriveWithTheSendersId) {
    TestChannel channel(path);
    auto first = attach(path);
    auto second = attach(path);
    EXPECT_EQ(shbf_rcv_send(second.get(), "REQ_IDR", 7), 0);
    EXPECT_EQ(shbf_rcv_send(second.get(), "", 0), 0);
    EXPECT_TRUE(channel.saw("message 2 REQ_IDR"));
    EXPECT_TRUE(channel.saw("message 2 "));
    const std::string largest(SHBF_MESSAGE_MAX, 'm');
    EXPECT_EQ(shbf_rcv_send(first.get(), largest.data(), SHBF_MESSAGE_MAX), 0);
    EXPECT_EQ(shbf_rcv_send(first.get(), largest.data(), SHBF_MESSAGE_MAX + 1), -EMSGSIZE);
    EXPECT_TRUE(channel.saw("message 1 " + largest));
}

// ---- receivers come and go ----

TEST_F(Shbf, AttachAndDetachAreToldOnceEach) {
    TestChannel channel(path);
    auto first = attach(path);
    auto second = attach(path);
    ASSERT_TRUE(channel.saw("new 2"));
    EXPECT_EQ(query().receivers, 2U);
    first.reset();
    ASSERT_TRUE(channel.saw("closed 1"));
    EXPECT_EQ(query().receivers, 1U);
    auto third = attach(path);
    ASSERT_TRUE(channel.saw("new 3")) << "ids are not used again";
    EXPECT_EQ(channel.journal(), (std::vector<std::string>{"new 1", "new 2", "closed 1", "new 3"}));
}

TEST_F(Shbf, DetachingFreesAllThatWasHeld) {
    TestChannel channel(path);
    auto receiver = attach(path);
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(channel.publish(1000), 1);
    }
    EXPECT_EQ(query().buffers, 10U);
    receiver.reset();
    ASSERT_TRUE(channel.saw("closed 1"));
    EXPECT_EQ(query().buffers, 0U);
    EXPECT_EQ(query().arena_used, 0U);
}

TEST_F(Shbf, ThirtyTwoReceiversAndNoMore) {
    TestChannel channel(path);
    std::vector<ReceiverHandle> receivers;
    for (int i = 0; i < 32; ++i) {
        receivers.push_back(attach(path));
        ASSERT_NE(receivers.back(), nullptr);
    }
    EXPECT_EQ(attach(path), nullptr);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(channel.publish(100), 32);
    receivers.pop_back();
    ASSERT_TRUE(channel.saw("closed 32"));
    EXPECT_NE(attach(path), nullptr);
}

// ---- receivers that are behind ----

TEST_F(Shbf, AReceiverBehindItsWindowIsSkippedAndTold) {
    TestChannel channel(path);
    auto slow = attach(path, 2);
    auto quick = attach(path);
    ASSERT_TRUE(channel.saw("new 2"));
    for (uint32_t i = 1; i <= 5; ++i) {
        EXPECT_EQ(channel.publish(100), i <= 2 ? 2 : 1);
        shbf_event_t event;
        ASSERT_EQ(shbf_rcv_next(quick.get(), &event, 5000), 1);
        EXPECT_EQ(event.frame.number, i);
        EXPECT_EQ(event.frame.skipped, 0U);
        shbf_rcv_release(quick.get(), &event.frame);
    }
    EXPECT_TRUE(channel.saw("error 1 " + std::to_string(EAGAIN)));
    EXPECT_EQ(channel.count("error 2 " + std::to_string(EAGAIN)), 0);
    shbf_event_t event;
    for (uint32_t i = 1; i <= 2; ++i) {
        ASSERT_EQ(shbf_rcv_next(slow.get(), &event, 5000), 1);
        EXPECT_EQ(event.frame.number, i);
        shbf_rcv_release(slow.get(), &event.frame);
    }
    EXPECT_EQ(channel.publish(100), 2) << "it has caught up";
    ASSERT_EQ(shbf_rcv_next(slow.get(), &event, 5000), 1);
    EXPECT_EQ(event.frame.number, 6U);
    EXPECT_EQ(event.frame.skipped, 3U);
    EXPECT_EQ(query().skipped, 3U);
}

TEST_F(Shbf, ANegativeAnswerToAnErrorKeepsTheReceiver) {
    TestChannel channel(path);
    channel.error_answer = -1;
    auto receiver = attach(path, 1);
    channel.publish(100);
    EXPECT_EQ(channel.publish(100), 0);
    ASSERT_TRUE(channel.saw("error 1 11"));
    EXPECT_EQ(query().receivers, 1U);
    EXPECT_EQ(channel.count("closed 1"), 0);
}

TEST_F(Shbf, AnyOtherAnswerToAnErrorDropsTheReceiver) {
    TestChannel channel(path);
    channel.error_answer = 0;
    auto receiver = attach(path, 1);
    channel.publish(100);
    channel.publish(100);
    ASSERT_TRUE(channel.saw("closed 1"));
    EXPECT_EQ(query().receivers, 0U);
    EXPECT_EQ(query().buffers, 0U);
    shbf_event_t event;
    EXPECT_EQ(shbf_rcv_next(receiver.get(), &event, 5000), -EPIPE) << "what was sent before is taken back";
    EXPECT_EQ(shbf_rcv_intact(receiver.get()), 0);
}

TEST_F(Shbf, ThoseWhoKeepUpLoseNothingWhileOneHoldsAllItCan) {
    TestChannel channel(path);
    auto hoarder = attach(path, 64);
    auto honest = attach(path);
    ASSERT_TRUE(channel.saw("new 2"));
    for (uint32_t i = 1; i <= 500; ++i) {
        // 40,000 of 65,536 bytes each: the hoarder alone would fill the arena with seven.
        ASSERT_GE(channel.publish(40000, 1, 65536), 1);
        shbf_event_t event;
        ASSERT_EQ(shbf_rcv_next(honest.get(), &event, 5000), 1);
        ASSERT_EQ(event.frame.number, i);
        ASSERT_EQ(event.frame.skipped, 0U);
        shbf_rcv_release(honest.get(), &event.frame);
    }
}

TEST_F(Shbf, AReceiverThatDoesNotReadItsMessagesIsSkippedToo) {
    TestChannel channel(path);
    auto receiver = attach(path);
    ASSERT_TRUE(channel.saw("new 1"));
    const std::string text(30000, 't');
    int32_t reached = 1;
    for (int i = 0; i < 1000 && reached == 1; ++i) {
        reached = shbfev_brd_broadcast_message(channel.brd, text.data(), 30000);
    }
    EXPECT_EQ(reached, 0);
    EXPECT_EQ(shbfev_brd_send_message(channel.brd, 1, text.data(), 30000), -EAGAIN);
    EXPECT_TRUE(channel.saw("error 1 11"));
}

// ---- the end ----

TEST_F(Shbf, ReceiversSeeTheEndOfADestroyedChannel) {
    TestChannel channel(path);
    auto receiver = attach(path);
    channel.destroy();
    shbf_event_t event;
    EXPECT_EQ(shbf_rcv_next(receiver.get(), &event, 5000), -EPIPE);
    EXPECT_EQ(channel.count("closed 1"), 0) << "no callback runs any more";
}

TEST_F(Shbf, ADestroyedChannelStillServesProducersThatComeTooLate) {
    TestChannel channel(path);
    auto receiver = attach(path);
    void *early = shbfev_brd_alloc(channel.brd, 1000);
    channel.destroy();
    memset(early, 1, 1000);
    EXPECT_EQ(shbf_set_size(early, 500), 0);
    EXPECT_EQ(shbfev_brd_broadcast(channel.brd, early), 0);
    for (int i = 0; i < 100; ++i) {
        void *late = shbfev_brd_alloc(channel.brd, 1000);
        ASSERT_NE(late, nullptr);
        memset(late, 2, 1000);
        EXPECT_EQ(shbfev_brd_broadcast(channel.brd, late), 0);
    }
    EXPECT_EQ(shbfev_brd_broadcast_message(channel.brd, "x", 1), 0);
    EXPECT_EQ(shbfev_brd_send_message(channel.brd, 1, "x", 1), -ENOENT);
    EXPECT_EQ(shbfev_brd_start(channel.loop.loop(), channel.brd), -EINVAL);
}

TEST_F(Shbf, ABufferOfADestroyedChannelCanBeFreed) {
    TestChannel channel(path);
    void *buffer = shbfev_brd_alloc(channel.brd, 1000);
    channel.destroy();
    memset(buffer, 1, 1000);
    shbf_free(buffer);
}

TEST_F(Shbf, ARemovedPathClosesTheServer) {
    TestChannel channel(path);
    auto receiver = attach(path);
    ASSERT_TRUE(channel.saw("new 1"));
    ASSERT_EQ(unlink(run_dir_.file("test_channel").c_str()), 0);
    EXPECT_TRUE(channel.saw("server closed"));
    EXPECT_EQ(channel.journal().back(), "server closed") << "receivers go without an event each";
    shbf_event_t event;
    EXPECT_EQ(shbf_rcv_next(receiver.get(), &event, 5000), -EPIPE);
}

TEST_F(Shbf, APathTakenBySomebodyElseClosesTheServerAndIsLeftAlone) {
    TestChannel channel(path);
    std::ofstream(run_dir_.file("other")) << "x";
    ASSERT_EQ(rename(run_dir_.file("other").c_str(), run_dir_.file("test_channel").c_str()), 0);
    EXPECT_TRUE(channel.saw("server closed"));
    channel.destroy();
    EXPECT_EQ(access(run_dir_.file("test_channel").c_str(), F_OK), 0);
}

TEST_F(Shbf, WithoutCallbacksAChannelStillWorks) {
    support::LoopThread loop;
    shbfev_brd_t *brd = shbfev_brd_create(path);
    ASSERT_EQ(loop.call([&] { return shbfev_brd_start(loop.loop(), brd); }), 0);
    auto receiver = attach(path, 1);
    ASSERT_NE(receiver, nullptr);
    EXPECT_EQ(shbf_rcv_send(receiver.get(), "x", 1), 0);
    EXPECT_EQ(shbfev_brd_broadcast(brd, shbfev_brd_alloc(brd, 10)), 1);
    EXPECT_EQ(shbfev_brd_broadcast(brd, shbfev_brd_alloc(brd, 10)), 0);
    shbf_event_t event;
    EXPECT_EQ(shbf_rcv_next(receiver.get(), &event, 5000), 1);
    EXPECT_EQ(query().receivers, 1U) << "EAGAIN alone does not drop a receiver";
    receiver.reset();
    EXPECT_TRUE(support::eventually([&] { return query().receivers == 0; }));
    loop.call([&] { shbfev_brd_destroy(brd); });
}

} // namespace
