// libmortoxev when the store goes away: reconnecting, comparing, and what a store that misbehaves can do.

#include "mortox_fake_store.h"
#include "mortox_watcher.h"
#include "support/settings_store.h"

#include <atomic>
#include <csignal>
#include <gtest/gtest.h>
#include <thread>

using namespace mortox_test;
using support::ScratchRunDir;
using support::SettingsStore;

namespace {

class MortoxEvResync : public testing::Test {
  protected:
    MortoxEvResync() {
        store_.start();
        watcher_ = std::make_unique<Watcher>();
    }

    /* The store dies and comes back, and others write, all before the loop turns again. */
    void restart(const std::function<void(const Handle &writer)> &meanwhile = {}) {
        store_.kill();
        store_.start();
        if (meanwhile) {
            const Handle writer = open_store();
            meanwhile(writer);
        }
    }

    ScratchRunDir run_dir_;
    SettingsStore store_{run_dir_};
    std::unique_ptr<Watcher> watcher_;
};

TEST_F(MortoxEvResync, DeliversWhatChangedMeanwhile) {
    ASSERT_TRUE(set(watcher_->handle(), "removed", "x"));
    for (const char *key : {"changed", "made", "removed", "same"}) {
        ASSERT_TRUE(watcher_->watch(key));
    }
    ASSERT_TRUE(set(watcher_->handle(), "changed", "1"));
    ASSERT_TRUE(set(watcher_->handle(), "same", "1"));
    ASSERT_TRUE(watcher_->turn_until_told(2));
    watcher_->told().clear();
    restart([](const Handle &writer) {
        for (const char *value : {"2", "3", "4"}) {
            EXPECT_TRUE(set(writer, "changed", value));
        }
        EXPECT_TRUE(set(writer, "made", ""));
        EXPECT_TRUE(libmortox_remove_value(writer.get(), "nvram", "default", "removed", -1));
        EXPECT_TRUE(set(writer, "same", "2"));
        EXPECT_TRUE(set(writer, "same", "1"));
    });
    ASSERT_TRUE(watcher_->turn_until_told(3));
    watcher_->settle();
    EXPECT_EQ(watcher_->told(), (std::vector<Told>{resynced("changed", "4"), resynced("made", ""),
                                                   resynced("removed", std::nullopt)}));
}

TEST_F(MortoxEvResync, WatchesGoOnAfterwards) {
    ASSERT_TRUE(watcher_->watch("flip"));
    for (int round = 0; round < 3; ++round) {
        restart();
        ASSERT_TRUE(watcher_->reconnect());
        watcher_->settle();
        watcher_->told().clear();
        const std::string value = std::to_string(round);
        EXPECT_TRUE(set(open_store(), "flip", value));
        ASSERT_TRUE(watcher_->turn_until_told(1));
        EXPECT_EQ(watcher_->told(), (std::vector<Told>{notified("flip", value)}));
    }
}

TEST_F(MortoxEvResync, MemoryIsEmptyAfterARestart) {
    ASSERT_TRUE(watcher_->watch("hot_status", {}, "mem"));
    ASSERT_TRUE(set(watcher_->handle(), "hot_status", "changed", "mem"));
    restart();
    ASSERT_TRUE(watcher_->turn_until_told(2));
    EXPECT_EQ(watcher_->told()[1], (Told{XRESPONSE_RESYNC, "mem default hot_status", std::nullopt}));
}

TEST_F(MortoxEvResync, WhatWasAnnouncedBeforeTheEndIsDelivered) {
    ASSERT_TRUE(watcher_->watch("flip"));
    {
        const Handle writer = open_store();
        EXPECT_TRUE(set(writer, "flip", "1"));
        EXPECT_TRUE(set(writer, "flip", "2"));
    }
    restart([](const Handle &writer) { EXPECT_TRUE(set(writer, "flip", "3")); });
    ASSERT_TRUE(watcher_->turn_until_told(3));
    watcher_->settle();
    EXPECT_EQ(watcher_->told(),
              (std::vector<Told>{notified("flip", "1"), notified("flip", "2"), resynced("flip", "3")}));
}

TEST_F(MortoxEvResync, EachWatchOfAKeyIsComparedForItself) {
    std::vector<Told> early;
    std::vector<Told> late;
    ASSERT_TRUE(watcher_->watch("flip", {}, "nvram", &early));
    ASSERT_TRUE(set(watcher_->handle(), "flip", "1"));
    ASSERT_TRUE(watcher_->watch("flip", {}, "nvram", &late));
    restart([](const Handle &writer) { EXPECT_TRUE(set(writer, "flip", "2")); });
    ASSERT_TRUE(watcher_->turn_until([&] { return early.size() == 2 && late.size() == 1; }));
    EXPECT_EQ(late, (std::vector<Told>{resynced("flip", "2")}));
}

TEST_F(MortoxEvResync, RequestsFailWhileItIsAwayAndWorkAfterwards) {
    ASSERT_TRUE(watcher_->watch("flip"));
    store_.kill();
    EXPECT_FALSE(set(watcher_->handle(), "flip", "1"));
    EXPECT_FALSE(set(watcher_->handle(), "flip", "1"));
    EXPECT_EQ(watcher_->last_error(), "not connected to the settings store: is mortoxd running?");
    EXPECT_FALSE(watcher_->watch("power"));
    store_.start();
    ASSERT_TRUE(watcher_->reconnect());
    EXPECT_TRUE(set(watcher_->handle(), "flip", "2"));
    EXPECT_TRUE(watcher_->watch("power"));
}

TEST_F(MortoxEvResync, KeepsTryingForAsLongAsItTakes) {
    ASSERT_TRUE(watcher_->watch("flip"));
    store_.end();
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(watcher_->turn_until(
        [&] { return std::chrono::steady_clock::now() - start > std::chrono::milliseconds(1500); }));
    restart([](const Handle &writer) { EXPECT_TRUE(set(writer, "flip", "on")); });
    ASSERT_TRUE(watcher_->turn_until_told(1));
    EXPECT_EQ(watcher_->told(), (std::vector<Told>{resynced("flip", "on")}));
}

TEST_F(MortoxEvResync, ANamespaceThatComesBackLater) {
    ASSERT_TRUE(watcher_->watch("hot_status", {}, "mem"));
    ASSERT_TRUE(watcher_->watch("flip"));
    store_.kill();
    store_.set_arguments({"--persistent", "nvram=" + store_.database()});
    store_.start();
    EXPECT_TRUE(set(open_store(), "flip", "1"));
    ASSERT_TRUE(watcher_->turn_until_told(1)) << "the other watch is served";
    EXPECT_EQ(watcher_->told()[0], resynced("flip", "1"));
    store_.kill();
    store_.set_arguments({"--persistent", "nvram=" + store_.database(), "--memory", "mem"});
    store_.start();
    EXPECT_TRUE(set(open_store(), "hot_status", "changing", "mem"));
    ASSERT_TRUE(watcher_->turn_until_told(2));
    EXPECT_EQ(watcher_->told()[1], (Told{XRESPONSE_RESYNC, "mem default hot_status", "changing"}));
}

TEST(MortoxEvWithoutStore, TheHandleWaitsForOne) {
    const ScratchRunDir run_dir;
    Watcher watcher;
    ASSERT_NE(watcher.handle(), nullptr);
    EXPECT_FALSE(watcher.watch("flip"));
    EXPECT_EQ(watcher.last_error(), "not connected to the settings store: is mortoxd running?");
    SettingsStore store(run_dir);
    store.start();
    ASSERT_TRUE(watcher.reconnect());
    ASSERT_TRUE(watcher.watch("flip"));
    EXPECT_TRUE(set(open_store(), "flip", "on"));
    ASSERT_TRUE(watcher.turn_until_told(1));
    EXPECT_EQ(watcher.told()[0], notified("flip", "on"));
}

TEST_F(MortoxEvResync, ALoopThatDoesNotTurnIsCutOffAndCatchesUp) {
    ASSERT_TRUE(watcher_->watch("a", {}, "mem"));
    ASSERT_TRUE(watcher_->watch("b", {}, "mem"));
    const Handle writer = open_store();
    const std::string padding(8000, 'v');
    int last = 0;
    while (store_.process().count("does not read its notifications: disconnected") == 0 && last < 1000) {
        ASSERT_TRUE(set(writer, "a", padding + std::to_string(++last), "mem"));
    }
    ASSERT_LT(last, 1000) << "the backlog has no limit";
    EXPECT_TRUE(set(writer, "b", "1", "mem"));
    const Told end = {XRESPONSE_RESYNC, "mem default b", "1"};
    ASSERT_TRUE(
        watcher_->turn_until([&] { return !watcher_->told().empty() && watcher_->told().back() == end; }));
    const std::vector<Told> &told = watcher_->told();
    ASSERT_GE(told.size(), 2U);
    EXPECT_EQ(told[told.size() - 2],
              (Told{XRESPONSE_RESYNC, "mem default a", padding + std::to_string(last)}));
    for (size_t i = 0; i + 2 < told.size(); ++i) { // what came before is complete up to the cut
        ASSERT_EQ(told[i], (Told{XRESPONSE_NOTIFY, "mem default a", padding + std::to_string(i + 1)}));
    }
}

TEST_F(MortoxEvResync, MoreChangesThanARequestCanKeepAreCaughtUp) {
    ASSERT_TRUE(watcher_->watch("flood", {}, "mem"));
    const std::string padding(8000, 'v');
    constexpr int writes = 400; // three times what waits for the loop
    int failed = 0;
    for (int i = 1; i <= writes; ++i) {
        while (!set(watcher_->handle(), "flood", padding + std::to_string(i), "mem")) {
            ++failed;
            ASSERT_TRUE(watcher_->reconnect());
        }
    }
    EXPECT_GT(failed, 0);
    ASSERT_TRUE(watcher_->turn_until([&] {
        return !watcher_->told().empty() && watcher_->told().back().value == padding + std::to_string(writes);
    }));
}

TEST_F(MortoxEvResync, AStoreThatHangsDoesNotHoldTheLoop) {
    ASSERT_TRUE(watcher_->watch("flip"));
    store_.process().signal(SIGSTOP);
    EXPECT_FALSE(libmortox_set_value(watcher_->handle(), "nvram", "default", "flip", XDATA_TEXT, "on",
                                     nullptr, nullptr, 50, 0));
    int turns = 0;
    EXPECT_TRUE(watcher_->turn_until([&] { return ++turns > 20; }));
    store_.process().signal(SIGCONT);
    ASSERT_TRUE(watcher_->turn_until_told(1)) << "false meant only that it is not known";
    EXPECT_EQ(watcher_->told()[0], notified("flip", "on"));
}

/* ---- a store that talks nonsense ---- */

TEST(MortoxEvHostileStore, IsTriedLessAndLessOften) {
    const ScratchRunDir run_dir;
    const FakeStore fake(run_dir.file("mortoxd"), FakeStore::turn_everybody_away);
    std::vector<std::chrono::steady_clock::time_point> tries = {std::chrono::steady_clock::now()};
    Watcher watcher;
    ASSERT_TRUE(watcher.turn_until([&] {
        if (fake.connections() > static_cast<int>(tries.size())) {
            tries.push_back(std::chrono::steady_clock::now());
        }
        return tries.size() == 6;
    })) << "more than 2 s between two";
    int waits_ms = 0;
    for (size_t i = 1; i < tries.size(); ++i) {
        waits_ms += 100 << (i - 1);
        EXPECT_GE(tries[i] - tries[0], std::chrono::milliseconds(waits_ms - 10)) << i;
    }
}

TEST(MortoxEvHostileStore, NonsenseIsAnsweredByConnectingAnew) {
    const ScratchRunDir run_dir;
    std::atomic<int> watches{0};
    const FakeStore fake(run_dir.file("mortoxd"),
                         [&](const FakeStore::Connection &connection, const wire::Message &asked) {
                             connection.ok(asked);
                             if (++watches <= 3) {
                                 connection.bytes("nonsense, and more than a header of it");
                             }
                             return true;
                         });
    Watcher watcher;
    ASSERT_TRUE(watcher.watch("flip"));
    EXPECT_TRUE(watcher.turn_until([&] { return watches >= 4; })) << "registered anew each time";
    EXPECT_GE(fake.connections(), 4);
    EXPECT_TRUE(watcher.told().empty());
}

TEST(MortoxEvHostileStore, ItsLastWordsAreHeardAlsoWhenItHasNotReadAll) {
    const ScratchRunDir run_dir;
    std::atomic<bool> both_sent{false};
    const FakeStore fake(
        run_dir.file("mortoxd"), [&](const FakeStore::Connection &connection, const wire::Message &asked) {
            if (asked.type == wire::Type::watch) {
                connection.ok(asked);
                return true;
            }
            EXPECT_TRUE(support::eventually([&] { return both_sent.load(); }));
            wire::Message change = request(wire::Type::change, "nvram", "default", "flip", 0);
            change.value_type = wire::ValueType::text;
            change.value = "on";
            connection.message(change);
            return false; // the second request is never read
        });
    Watcher watcher;
    ASSERT_TRUE(watcher.watch("flip"));
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(libmortox_remove_value(watcher.handle(), "nvram", "default", "flip", 1));
    }
    both_sent = true;
    ASSERT_TRUE(support::eventually([&] { return fake.ended() == 1; }));
    ASSERT_TRUE(watcher.turn_until_told(1));
    EXPECT_EQ(watcher.told(), (std::vector<Told>{notified("flip", "on")}));
}

TEST(MortoxEvHostileStore, AnnouncementsOfUnwatchedKeysAreIgnored) {
    const ScratchRunDir run_dir;
    const FakeStore fake(
        run_dir.file("mortoxd"), [](const FakeStore::Connection &connection, const wire::Message &asked) {
            connection.ok(asked);
            for (const char *key : {"", "flop", "flip"}) {
                wire::Message change = request(wire::Type::change, "nvram", "default", key, asked.request);
                change.value_type = wire::ValueType::text;
                change.value = "on";
                connection.message(change);
                change.type = wire::Type::item;
                connection.message(change);
                connection.ok(asked);
            }
            return true;
        });
    Watcher watcher;
    ASSERT_TRUE(watcher.watch("flip"));
    ASSERT_TRUE(watcher.turn_until_told(1));
    EXPECT_EQ(watcher.told(), (std::vector<Told>{notified("flip", "on")}));
}

} // namespace
