// libmortox when the store is away, dies, hangs or talks nonsense.

#include "mortox_fake_store.h"
#include "mortox_fixture.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace mortox_test;
using support::ScratchRunDir;
using support::SettingsStore;

namespace {

using MortoxAway = Mortox;

TEST(MortoxWithoutStore, OpenSaysWhy) {
    const ScratchRunDir run_dir;
    errno = 0;
    EXPECT_EQ(libmortox_config_open(0), nullptr);
    EXPECT_EQ(errno, ENOENT);
    SettingsStore store(run_dir);
    store.start();
    store.kill();
    EXPECT_EQ(libmortox_config_open(0), nullptr);
    EXPECT_EQ(errno, ECONNREFUSED);
}

TEST_F(MortoxAway, OpenSaysThatTheStoreIsSomebodyElses) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "permissions do not bind root";
    }
    std::filesystem::permissions(store_.socket(), std::filesystem::perms::none);
    EXPECT_EQ(libmortox_config_open(0), nullptr);
    EXPECT_EQ(errno, EACCES);
}

TEST_F(MortoxAway, OpenGivesUpOnAStoreThatHangs) {
    store_.process().signal(SIGSTOP);
    EXPECT_EQ(libmortox_config_open(0), nullptr);
    EXPECT_EQ(errno, ETIMEDOUT);
}

TEST_F(MortoxAway, OpenGivesUpOnAStoreThatTakesNobody) {
    const OftenInterrupted interrupted;
    store_.process().signal(SIGSTOP);
    std::vector<std::unique_ptr<RawClient>> waiting;
    for (int i = 0; i < 65; ++i) { // as many as may wait
        waiting.push_back(std::make_unique<RawClient>(store_.socket()));
    }
    EXPECT_EQ(libmortox_config_open(0), nullptr);
    EXPECT_EQ(errno, ETIMEDOUT);
}

TEST_F(MortoxAway, ADeadStoreIsToldAndNoSignalComes) {
    EXPECT_TRUE(set(handle(), "flip", "on"));
    store_.kill();
    Answer answer;
    EXPECT_FALSE(write("nvram", "default", "flip", "off", &answer));
    EXPECT_EQ(answer.calls, 1);
    EXPECT_EQ(answer.type, XRESPONSE_ERROR);
    EXPECT_NE(last_error().find("the settings store"), std::string::npos) << last_error();
    Answer none;
    EXPECT_FALSE(
        libmortox_get_value(handle().get(), "nvram", "default", "flip", Answer::store, &none, -1, 0));
    EXPECT_EQ(none.calls, 0);
    EXPECT_EQ(last_error(), "the connection to the settings store is lost: open a new handle");
    EXPECT_FALSE(libmortox_namespaces(
        handle().get(), [](const char *, bool, void *) {}, nullptr, -1));
}

TEST_F(MortoxAway, ARequestEndsWithItsTimeout) {
    EXPECT_TRUE(set(handle(), "flip", "on"));
    store_.process().signal(SIGSTOP);
    Answer answer;
    EXPECT_FALSE(
        libmortox_get_value(handle().get(), "nvram", "default", "flip", Answer::store, &answer, 50, 0));
    EXPECT_FALSE(
        libmortox_get_value(handle().get(), "nvram", "default", "flip", Answer::store, &answer, 0, 0));
    EXPECT_EQ(last_error(), "the settings store did not answer in time");
    store_.process().signal(SIGCONT);
    EXPECT_EQ(get(handle(), "power"), std::nullopt) << "must not be the late answer about flip";
    EXPECT_EQ(answer.calls, 0) << "the callback of a request that was given up";
}

TEST_F(MortoxAway, AStoreThatTakesNoMoreEndsWithTheTimeoutToo) {
    handle();
    store_.process().signal(SIGSTOP);
    const std::string value(8191, 'v');
    int failed = 0;
    for (int i = 0; i < 200; ++i) { // more than a socket holds
        failed += libmortox_set_value(handle().get(), "mem", "default", "key", XDATA_TEXT, value.c_str(),
                                      nullptr, nullptr, 1, 0)
                      ? 0
                      : 1;
    }
    EXPECT_EQ(failed, 200);
    store_.process().signal(SIGCONT);
    EXPECT_EQ(get(handle(), "none"), std::nullopt) << "the handle still serves";
}

TEST_F(MortoxAway, AWriterSurvivesTheStoreAtEveryMoment) {
    for (int round = 0; round < 5; ++round) {
        std::atomic<int> confirmed{-1};
        std::thread writer([&] {
            const Handle own = open_store();
            for (int i = 0; set(own, "counter", std::to_string(i)); ++i) {
                confirmed = i;
            }
        });
        EXPECT_TRUE(support::eventually([&] { return confirmed > 5 * round; }));
        store_.kill();
        writer.join();
        store_.start();
        const int found = std::stoi(get(open_store(), "counter").value_or("-1"));
        EXPECT_GE(found, confirmed) << "a confirmed write is lost";
        EXPECT_LE(found, confirmed + 1);
    }
}

/* ---- a store that talks nonsense ---- */

std::string packet_of(const wire::Message &message) {
    std::string packet(wire::packet_max_bytes, '\0');
    packet.resize(wire::encode(message, reinterpret_cast<uint8_t *>(packet.data())));
    return packet;
}

TEST(MortoxHostileStore, NonsenseEndsTheConnection) {
    const std::string good = packet_of(request(wire::Type::answer, "", "", ""));
    const std::array<std::string, 5> nonsense = {"x", good.substr(0, 15), good.substr(0, 18), good + "x",
                                                 std::string(60000, 'x')};
    for (const std::string &packet : nonsense) {
        const ScratchRunDir run_dir;
        const FakeStore fake(run_dir.file("mortoxd"),
                             [&](const FakeStore::Connection &connection, const wire::Message &) {
                                 connection.bytes(packet);
                                 return true;
                             });
        const Handle handle = open_store();
        ASSERT_NE(handle, nullptr);
        Answer answer;
        EXPECT_FALSE(
            libmortox_get_value(handle.get(), "nvram", "default", "flip", Answer::store, &answer, -1, 0));
        EXPECT_EQ(answer.calls, 0);
        EXPECT_NE(std::string(libmortox_last_error(handle.get())).find("sent something else than an answer"),
                  std::string::npos)
            << libmortox_last_error(handle.get());
        EXPECT_FALSE(set(handle, "flip", "on")) << "the connection is given up";
    }
}

TEST(MortoxHostileStore, OtherPeoplesAnswersAreNotOurs) {
    const ScratchRunDir run_dir;
    const FakeStore fake(run_dir.file("mortoxd"),
                         [](const FakeStore::Connection &connection, const wire::Message &asked) {
                             wire::Message other = request(wire::Type::answer, "", "", "", asked.request + 1);
                             other.value_type = wire::ValueType::text;
                             other.value = "wrong";
                             connection.message(other);
                             connection.message(request(wire::Type::item, "a", "b", "c", asked.request));
                             connection.message(request(wire::Type::change, "a", "b", "c", 0));
                             connection.message(request(wire::Type::get, "a", "b", "c", asked.request));
                             other.request = asked.request;
                             other.value = "right";
                             connection.message(other);
                             return true;
                         });
    EXPECT_EQ(get(open_store(), "flip"), "right");
}

TEST(MortoxHostileStore, ATorrentDoesNotOutlastTheTimeout) {
    const ScratchRunDir run_dir;
    std::atomic<bool> ending{false};
    const FakeStore fake(run_dir.file("mortoxd"),
                         [&](const FakeStore::Connection &connection, const wire::Message &) {
                             while (!ending) {
                                 connection.message(request(wire::Type::change, "a", "b", "c", 0));
                             }
                             return false;
                         });
    const Handle handle = open_store();
    Answer answer;
    EXPECT_FALSE(
        libmortox_get_value(handle.get(), "nvram", "default", "flip", Answer::store, &answer, 100, 0));
    ending = true;
}

TEST(MortoxHostileStore, AnOpenThatIsRefused) {
    const ScratchRunDir run_dir;
    const int listener = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, run_dir.file("mortoxd").c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    std::thread rejecting([&] { close(accept(listener, nullptr, nullptr)); });
    errno = 0;
    EXPECT_EQ(libmortox_config_open(0), nullptr);
    EXPECT_EQ(errno, ECONNREFUSED);
    rejecting.join();
    close(listener);
}

} // namespace
