// libmortoxev against a real store: notifications on a loop.

#include "mortox_watcher.h"
#include "support/settings_store.h"

#include <csignal>
#include <gtest/gtest.h>
#include <thread>

using namespace mortox_test;
using support::ScratchRunDir;
using support::SettingsStore;

namespace {

class MortoxEv : public testing::Test {
  protected:
    MortoxEv() {
        store_.start();
        watcher_ = std::make_unique<Watcher>();
        writer_ = open_store();
    }
    mortox_t *handle() { return watcher_->handle(); }

    ScratchRunDir run_dir_;
    SettingsStore store_{run_dir_};
    std::unique_ptr<Watcher> watcher_;
    Handle writer_;
};

TEST_F(MortoxEv, TellsOfAChangeWithItsValue) {
    ASSERT_TRUE(watcher_->watch("flip"));
    EXPECT_TRUE(set(writer_, "flip", "on"));
    ASSERT_TRUE(watcher_->turn_until_told(1));
    EXPECT_EQ(watcher_->told(), (std::vector<Told>{notified("flip", "on")}));
}

TEST_F(MortoxEv, TellsOfAnUnchangedValueToo) {
    ASSERT_TRUE(watcher_->watch("watermark"));
    EXPECT_TRUE(set(writer_, "watermark", "on"));
    EXPECT_TRUE(set(writer_, "watermark", "on"));
    ASSERT_TRUE(watcher_->turn_until_told(2));
    EXPECT_EQ(watcher_->told()[0], watcher_->told()[1]);
}

TEST_F(MortoxEv, TellsOfARemovalWithoutAValue) {
    ASSERT_TRUE(watcher_->watch("regioncode"));
    EXPECT_TRUE(set(writer_, "regioncode", "US"));
    EXPECT_TRUE(libmortox_remove_value(writer_.get(), "nvram", "default", "regioncode", -1));
    EXPECT_TRUE(libmortox_remove_value(writer_.get(), "nvram", "default", "regioncode", -1));
    ASSERT_TRUE(watcher_->turn_until_told(3));
    EXPECT_EQ(watcher_->told(),
              (std::vector<Told>{notified("regioncode", "US"), notified("regioncode", std::nullopt),
                                 notified("regioncode", std::nullopt)}));
}

TEST_F(MortoxEv, TellsOfItsOwnWrites) {
    ASSERT_TRUE(watcher_->watch("flip"));
    EXPECT_TRUE(set(handle(), "flip", "on"));
    ASSERT_TRUE(watcher_->turn_until_told(1));
    EXPECT_EQ(watcher_->told(), (std::vector<Told>{notified("flip", "on")}));
}

TEST_F(MortoxEv, TellsOnlyOfWhatIsWatched) {
    ASSERT_TRUE(watcher_->watch("flip"));
    EXPECT_TRUE(set(writer_, "flop", "1"));
    EXPECT_TRUE(set(writer_, "FLIP", "2"));
    EXPECT_TRUE(set(writer_, "flip", "3", "mem"));
    EXPECT_TRUE(libmortox_set_value(writer_.get(), "nvram", "other", "flip", XDATA_TEXT, "4", nullptr,
                                    nullptr, -1, 0));
    EXPECT_TRUE(set(writer_, "flip", "5"));
    watcher_->settle();
    EXPECT_EQ(watcher_->told(), (std::vector<Told>{notified("flip", "5")}));
}

TEST_F(MortoxEv, TellsOfLargestValuesAndLongestNames) {
    const std::string key(63, 'k');
    const std::string value(8191, 'v');
    ASSERT_TRUE(watcher_->watch(key));
    EXPECT_TRUE(set(writer_, key, value));
    ASSERT_TRUE(watcher_->turn_until_told(1));
    EXPECT_EQ(watcher_->told(), (std::vector<Told>{notified(key, value)}));
}

TEST_F(MortoxEv, ARefusedWriteIsNotAnnounced) {
    ASSERT_TRUE(watcher_->watch("flip"));
    EXPECT_FALSE(set(writer_, "flip", std::string(8192, 'v')));
    watcher_->settle();
    EXPECT_TRUE(watcher_->told().empty());
}

TEST_F(MortoxEv, OneOrderForAllWatchersOfSeveralWriters) {
    Watcher other;
    ASSERT_TRUE(watcher_->watch("counter", {}, "mem"));
    ASSERT_TRUE(other.watch("counter", {}, "mem"));
    constexpr int writers = 4;
    constexpr int writes = 100;
    std::vector<std::thread> threads;
    for (int t = 0; t < writers; ++t) {
        threads.emplace_back([t] {
            const Handle own = open_store();
            for (int i = 0; i < writes; ++i) {
                EXPECT_TRUE(set(own, "counter", std::to_string(t) + " " + std::to_string(i), "mem"));
            }
        });
    }
    EXPECT_TRUE(watcher_->turn_until_told(size_t{writers} * writes));
    EXPECT_TRUE(other.turn_until_told(size_t{writers} * writes));
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(watcher_->told(), other.told());
    int next[writers] = {};
    for (const Told &told : watcher_->told()) {
        const int writer = told.value->at(0) - '0';
        EXPECT_EQ(told.value, std::to_string(writer) + " " + std::to_string(next[writer]++));
    }
    EXPECT_EQ(get(writer_, "counter", "mem"), watcher_->told().back().value) << "the last one is the value";
}

TEST_F(MortoxEv, AWatchBeginsWithItsRegistration) {
    EXPECT_TRUE(set(writer_, "flip", "before"));
    std::vector<Told> first;
    std::vector<Told> second;
    ASSERT_TRUE(watcher_->watch("flip", {}, "nvram", &first));
    EXPECT_TRUE(set(writer_, "flip", "between"));
    ASSERT_TRUE(watcher_->watch("flip", {}, "nvram", &second)); // the change waits for the loop meanwhile
    EXPECT_TRUE(set(writer_, "flip", "after"));
    watcher_->settle();
    EXPECT_EQ(first, (std::vector<Told>{notified("flip", "between"), notified("flip", "after")}));
    EXPECT_EQ(second, (std::vector<Told>{notified("flip", "after")}));
}

TEST_F(MortoxEv, RegistrationsAreNumbered) {
    ASSERT_TRUE(watcher_->watch("flip"));
    const int32_t first = watcher_->registration();
    ASSERT_TRUE(watcher_->watch("power"));
    EXPECT_NE(watcher_->registration(), first);
    EXPECT_TRUE(libmortox_register_notification(handle(), "nvram", "default", "wdr", nullptr, Answer::store,
                                                nullptr, -1, 0));
}

TEST_F(MortoxEv, ARefusedRegistrationSaysWhyAndChangesNothing) {
    EXPECT_FALSE(watcher_->watch("flip", {}, "flash"));
    EXPECT_EQ(watcher_->registration(), -1);
    EXPECT_EQ(watcher_->last_error(), "there is no namespace flash: this store has nvram, mem");
    EXPECT_FALSE(watcher_->watch(std::string(64, 'k')));
    EXPECT_FALSE(libmortox_register_notification(handle(), "nvram", "default", "flip", nullptr, nullptr,
                                                 nullptr, -1, 0));
    EXPECT_EQ(watcher_->last_error(), "there is no callback to notify");
    ASSERT_TRUE(watcher_->watch("power"));
    EXPECT_TRUE(set(writer_, "power", "off"));
    EXPECT_TRUE(watcher_->turn_until_told(1)) << "other watches still work";
}

TEST_F(MortoxEv, AStoreWithoutMem) {
    watcher_.reset();
    writer_.reset();
    store_.end();
    store_.set_arguments({"--persistent", "nvram=" + store_.database()});
    store_.start();
    Watcher watcher;
    EXPECT_FALSE(watcher.watch("hot_status", {}, "mem"));
    EXPECT_TRUE(watcher.watch("flip"));
    EXPECT_TRUE(set(watcher.handle(), "flip", "on"));
    EXPECT_TRUE(watcher.turn_until_told(1));
}

TEST_F(MortoxEv, NothingIsDeliveredFromInsideARequest) {
    ASSERT_TRUE(watcher_->watch("flip"));
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(set(writer_, "flip", std::to_string(i)));
        Answer answer;
        EXPECT_TRUE(libmortox_get_value(handle(), "nvram", "default", "flip", Answer::store, &answer, -1, 0));
        EXPECT_EQ(answer.value, std::to_string(i));
    }
    EXPECT_TRUE(watcher_->told().empty());
    ASSERT_TRUE(watcher_->turn_until_told(20));
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(watcher_->told()[static_cast<size_t>(i)].value, std::to_string(i));
    }
}

TEST_F(MortoxEv, TheLoopTurnsForWhatARequestHasRead) {
    ASSERT_TRUE(watcher_->watch("flip"));
    EXPECT_TRUE(set(handle(), "flip", "on")); // the request has read the announcement
    EXPECT_TRUE(get(writer_, "flip").has_value());
    ev_run(watcher_->loop(), EVRUN_ONCE); // nothing else wakes it
    EXPECT_EQ(watcher_->told().size(), 1U);
}

TEST_F(MortoxEv, ACallbackMayWriteAndIsToldOfItLater) {
    bool inside = false;
    ASSERT_TRUE(watcher_->watch(
        "hot_status",
        [&](const Told &told) {
            EXPECT_FALSE(inside) << "delivered from inside a callback";
            inside = true;
            if (told.value == "changing") {
                EXPECT_TRUE(set(handle(), "hot_status", "changed", "mem"));
            }
            inside = false;
        },
        "mem"));
    EXPECT_TRUE(set(writer_, "hot_status", "changing", "mem"));
    ASSERT_TRUE(watcher_->turn_until_told(2));
    EXPECT_EQ(watcher_->told()[1].value, "changed");
    EXPECT_EQ(get(writer_, "hot_status", "mem"), "changed");
    watcher_->settle();
    EXPECT_EQ(watcher_->told().size(), 2U);
}

TEST_F(MortoxEv, ACallbackMayRegister) {
    ASSERT_TRUE(watcher_->watch("first", [&](const Told &) {
        for (int i = 0; i < 40; ++i) { // the table has to move
            EXPECT_TRUE(watcher_->watch("more" + std::to_string(i)));
        }
    }));
    EXPECT_TRUE(set(writer_, "first", "1"));
    ASSERT_TRUE(watcher_->turn_until_told(1));
    EXPECT_TRUE(set(writer_, "more39", "2"));
    ASSERT_TRUE(watcher_->turn_until_told(2));
    EXPECT_EQ(watcher_->told()[1], notified("more39", "2"));
}

TEST_F(MortoxEv, ACallbackThatWritesItsOwnKeyDoesNotStarveTheLoop) {
    int written = 0;
    ASSERT_TRUE(watcher_->watch(
        "echo", [&](const Told &) { EXPECT_TRUE(set(handle(), "echo", std::to_string(++written), "mem")); },
        "mem"));
    EXPECT_TRUE(set(writer_, "echo", "0", "mem"));
    int turns = 0;
    EXPECT_TRUE(watcher_->turn_until([&] { return ++turns > 50 && written > 50; }));
}

TEST_F(MortoxEv, OneKeyMayBeWatchedTwice) {
    std::vector<Told> first;
    std::vector<Told> second;
    ASSERT_TRUE(watcher_->watch("flip", {}, "nvram", &first));
    ASSERT_TRUE(watcher_->watch("flip", {}, "nvram", &second));
    EXPECT_TRUE(set(writer_, "flip", "on"));
    watcher_->settle();
    EXPECT_EQ(first, (std::vector<Told>{notified("flip", "on")}));
    EXPECT_EQ(second, first);
}

TEST_F(MortoxEv, ClosingDropsWhatIsNotDelivered) {
    ASSERT_TRUE(watcher_->watch("flip"));
    EXPECT_TRUE(set(handle(), "flip", "on"));
    watcher_->close();
    ev_run(watcher_->loop(), EVRUN_NOWAIT);
    EXPECT_TRUE(watcher_->told().empty());
    EXPECT_EQ(ev_pending_count(watcher_->loop()), 0U);
}

TEST_F(MortoxEv, ClosingLeavesNothingOnTheLoop) {
    ASSERT_TRUE(watcher_->watch("flip"));
    store_.kill();
    EXPECT_FALSE(set(handle(), "flip", "on")); // a reconnection is due now
    watcher_->close();
    EXPECT_EQ(ev_run(watcher_->loop(), 0), 0) << "returns at once when no watcher is active";
}

TEST_F(MortoxEv, ClosingTakesNull) {
    libmortoxev_close(watcher_->loop(), nullptr);
}

TEST_F(MortoxEv, DeliversOnTheThreadOfTheLoop) {
    std::thread::id thread;
    ASSERT_TRUE(watcher_->watch("flip", [&](const Told &) { thread = std::this_thread::get_id(); }));
    EXPECT_TRUE(set(writer_, "flip", "on"));
    std::thread loop_thread([&] { EXPECT_TRUE(watcher_->turn_until_told(1)); });
    const std::thread::id expected = loop_thread.get_id();
    loop_thread.join();
    EXPECT_EQ(thread, expected);
}

} // namespace
