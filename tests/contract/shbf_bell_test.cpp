// The bell (platform/shbf/wire.h) is what receivers share, so what one of them can do to others with it.

#include "shbf_robustness_fixture.h"

#include "libshbf.h"
#include "shbf/link.h"

#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>

using namespace std::chrono_literals;
using robustness::path;
using robustness::Witness;
using support::eventually;
using support::TestChannel;

namespace {

using SharedBell = robustness::Robustness;

/* A receiver that does by hand, and abuses, what can be done with what it maps read-only: the bell. */
class BellAbuser {
  public:
    explicit BellAbuser(TestChannel *channel) {
        EXPECT_EQ(shbf_link_open(&link_, path, shbf::Role::receiver, 0, 5000), 0);
        const auto look = [this] {
            shbf_event_t event;
            const int result = shbf_link_look(&link_, &event);
            if (result == 1) {
                const shbf_frame_t frame = event.frame;
                shbf_link_release(&link_, &frame);
            }
            return link_.bell != nullptr;
        };
        EXPECT_TRUE(eventually([&] { return link_.attached || look(); }));
        shbf_free(shbfev_brd_alloc(channel->brd, 4000)); // now there is one
        channel->publish(100);
        EXPECT_TRUE(eventually(look));
    }
    ~BellAbuser() { shbf_link_close(&link_); }
    BellAbuser(const BellAbuser &) = delete;
    BellAbuser &operator=(const BellAbuser &) = delete;

    /* As a well-behaved receiver does. False when nobody rang for it. */
    bool sleep() {
        const uint32_t rung = link_.bell->rung;
        link_.page->asleep = shbf::asleep_on_bell;
        timespec end{};
        clock_gettime(CLOCK_MONOTONIC, &end);
        end.tv_sec += std::chrono::seconds(support::patience).count();
        return syscall(SYS_futex, &link_.bell->rung, FUTEX_WAIT_BITSET, rung, &end, nullptr,
                       1U << link_.index) == 0 ||
               errno == EAGAIN;
    }
    bool asleep() const { return link_.page->asleep == shbf::asleep_on_bell; }
    /* How many sleepers it has moved to a word of its own, where nobody wakes them. */
    long steal() { return syscall(SYS_futex, &link_.bell->rung, FUTEX_REQUEUE, 0, 1000L, &own_, 0); }
    /* How many of those it wakes. */
    long give_back() { return syscall(SYS_futex, &own_, FUTEX_WAKE, 1000, nullptr, nullptr, 0); }
    /* How many sleepers it has woken for nothing. */
    long ring() { return syscall(SYS_futex, &link_.bell->rung, FUTEX_WAKE, 1000, nullptr, nullptr, 0); }

  private:
    shbf::Link link_{};
    alignas(64) uint32_t own_ = 0;
};

TEST_F(SharedBell, OneRingWakesAllWhoSleep) {
    TestChannel channel(path);
    BellAbuser first(&channel);
    BellAbuser second(&channel);
    for (int round = 0; round < 5; ++round) {
        std::atomic<int> woken = 0;
        std::thread one([&] { woken += first.sleep() ? 1 : 0; });
        std::thread other([&] { woken += second.sleep() ? 1 : 0; });
        EXPECT_TRUE(eventually([&] { return first.asleep() && second.asleep(); }));
        EXPECT_EQ(channel.publish(100), 2);
        one.join();
        other.join();
        ASSERT_EQ(woken, 2);
    }
}

TEST_F(SharedBell, WhoseSleepIsStolenSleepsElsewhereAndMissesNothing) {
    TestChannel channel(path);
    BellAbuser abuser(&channel);
    Witness witness;
    ASSERT_TRUE(channel.saw("new 2"));
    ASSERT_EQ(channel.publish(1000, 1, 4000), 2); // the witness hears of the bell
    ASSERT_TRUE(eventually([&] { return witness.frames == 1; }));
    long stolen = 0;
    ASSERT_TRUE(eventually([&] {
        stolen = abuser.steal();
        return stolen > 0;
    }));
    ASSERT_EQ(stolen, 1);
    for (uint32_t i = 2; i <= 100; ++i) {
        ASSERT_GE(channel.publish(1000, static_cast<uint8_t>(i), 4000), 1);
        ASSERT_TRUE(eventually([&] { return witness.frames == i; }));
        for (int attempt = 0; attempt < 100; ++attempt) {
            ASSERT_EQ(abuser.steal(), 0) << "nobody is there any more";
            sched_yield();
        }
    }
    EXPECT_EQ(witness.lost, 0U);
    EXPECT_EQ(witness.torn, 0U);
}

TEST_F(SharedBell, WhoIsWokenAgainAndAgainForNothingSleepsElsewhere) {
    TestChannel channel(path);
    BellAbuser abuser(&channel);
    Witness witness;
    ASSERT_TRUE(channel.saw("new 2"));
    ASSERT_EQ(channel.publish(1000, 1, 4000), 2);
    ASSERT_TRUE(eventually([&] { return witness.frames == 1; }));
    long woken = 0;
    int in_vain = 0;
    EXPECT_TRUE(eventually([&] {
        const long now = abuser.ring();
        woken += now;
        in_vain = now > 0 ? 0 : in_vain + 1;
        return woken > 0 && in_vain > 100; // longer than one of its waits
    }));
    ASSERT_EQ(channel.publish(1000, 2, 4000), 2);
    EXPECT_TRUE(eventually([&] { return witness.frames == 2; }));
}

/* Who sleeps through something looks for itself after a while, so the thief wakes it before. */
TEST_F(SharedBell, WhoseSleepIsStolenAndGivenBackIsNotLateForEver) {
    TestChannel channel(path);
    BellAbuser abuser(&channel);
    shbf_rcv_t *receiver = shbf_rcv_open(path, nullptr);
    ASSERT_NE(receiver, nullptr);
    std::atomic<uint32_t> frames = 0;
    std::thread sleeper([&] {
        shbf_event_t event;
        while (shbf_rcv_next(receiver, &event, -1) == 1) {
            shbf_rcv_release(receiver, &event.frame);
            ++frames;
        }
    });
    ASSERT_EQ(channel.publish(1000, 1, 4000), 2);
    ASSERT_TRUE(eventually([&] { return frames == 1; }));
    constexpr auto held_back = 150ms; // less than it sleeps at a time
    constexpr uint32_t rounds = 20;
    uint32_t late = 0;
    for (uint32_t i = 2; i < 2 + rounds; ++i) {
        const auto begun = std::chrono::steady_clock::now();
        while (abuser.steal() == 0 && std::chrono::steady_clock::now() < begun + held_back) {
            sched_yield();
        }
        const auto published = std::chrono::steady_clock::now();
        ASSERT_GE(channel.publish(1000, static_cast<uint8_t>(i), 4000), 1);
        const auto passed = [published] { return std::chrono::steady_clock::now() - published; };
        ASSERT_TRUE(eventually([&] {
            if (frames != i && passed() > held_back) {
                abuser.give_back();
            }
            return frames == i;
        }));
        late += passed() > held_back ? 1U : 0U;
    }
    EXPECT_LT(late, rounds / 2) << "once, and when the machine is slow";
    channel.destroy();
    sleeper.join();
    shbf_rcv_close(receiver);
}

} // namespace
