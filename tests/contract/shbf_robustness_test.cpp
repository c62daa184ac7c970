// Channels under attack from the receiving side: receivers killed, stopped, hostile; and a broadcaster that
// dies. tests/stress does the same by the thousand, and what it found stands in shbf_hostile_test.cpp.

#include "shbf_robustness_fixture.h"

#include "libshbf.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <list>
#include <random>
#include <sys/resource.h>
#include <sys/wait.h>

using robustness::path;
using robustness::Robustness;
using robustness::Witness;
using support::eventually;
using support::Process;
using support::TestChannel;

namespace {

TEST_F(Robustness, AKilledReceiverGivesEverythingBackAndOthersMissNothing) {
    TestChannel channel(path);
    Witness witness;
    for (uint32_t round = 1; round <= 5; ++round) {
        Process victim = probe("hold");
        ASSERT_TRUE(victim.saw("attached"));
        for (uint8_t i = 0; i < 5; ++i) {
            ASSERT_EQ(channel.publish(2000, i, 8000), 2);
        }
        ASSERT_TRUE(victim.saw("frame " + std::to_string(round * 5)));
        victim.signal(SIGKILL);
        ASSERT_TRUE(channel.saw("closed " + std::to_string(round + 1)));
        ASSERT_TRUE(eventually([&] { return witness.frames == round * 5; }));
        EXPECT_EQ(query().arena_used, 0U);
    }
    EXPECT_EQ(witness.lost, 0U);
    EXPECT_EQ(witness.torn, 0U);
}

TEST_F(Robustness, AStoppedReceiverIsSkippedAndOthersMissNothing) {
    TestChannel channel(path);
    Witness witness;
    Process victim = probe("release");
    ASSERT_TRUE(victim.saw("attached"));
    victim.signal(SIGSTOP);
    constexpr uint32_t frames = 300;
    for (uint32_t i = 1; i <= frames; ++i) {
        ASSERT_GE(channel.publish(500, static_cast<uint8_t>(i), 1000), 1);
        ASSERT_TRUE(eventually([&] { return witness.frames == i; }));
    }
    EXPECT_TRUE(channel.saw("error 2 11"));
    EXPECT_EQ(witness.lost, 0U);
    EXPECT_EQ(witness.torn, 0U);
    victim.signal(SIGCONT);
    EXPECT_TRUE(eventually([&] { return query().arena_used == 0; })) << "it releases what it finds";
    ASSERT_EQ(channel.publish(2000, 1), 2) << "and is served again";
    EXPECT_TRUE(victim.saw("frame " + std::to_string(frames + 1)));
}

TEST_F(Robustness, ReceiversThatHoldForEverAreGivenUpWhenMemoryIsShort) {
    TestChannel channel(path);
    std::list<Process> hoarders;
    for (uint32_t i = 1; i <= 8; ++i) {
        hoarders.emplace_back(probe_command("hold"));
        ASSERT_TRUE(hoarders.back().saw("attached"));
        // One at a time, so that no two hold the same.
        channel.publish(12000, static_cast<uint8_t>(i), 16000);
        ASSERT_TRUE(eventually([&] { return query().receivers <= i; }));
    }
    hoarders.front().signal(SIGSTOP);
    Witness witness;
    ASSERT_TRUE(eventually([&] { return channel.publish(12000, 9, 16000) >= 0 && witness.frames >= 100; }));
    EXPECT_TRUE(channel.saw("error 1 " + std::to_string(ETIMEDOUT))) << "also the one that is stopped";
    EXPECT_TRUE(channel.saw("closed 1"));
    EXPECT_EQ(witness.torn, 0U);
    hoarders.front().signal(SIGCONT);
    EXPECT_TRUE(hoarders.front().saw("closed " + std::to_string(EPIPE)));
}

TEST_F(Robustness, AMessageCountsAlsoWhenItsSenderLeftFramesUnread) {
    TestChannel channel(path);
    for (int round = 1; round <= 20; ++round) {
        const std::string id = std::to_string(round);
        shbf_rcv_t *receiver = shbf_rcv_open(path, nullptr);
        ASSERT_NE(receiver, nullptr);
        ASSERT_TRUE(channel.saw("new " + id));
        ASSERT_EQ(channel.publish(100), 1);
        // The loop must find message and end together.
        channel.loop.call([&] {
            EXPECT_EQ(shbf_rcv_send(receiver, "REQ_IDR", 7), 0);
            shbf_rcv_close(receiver);
        });
        ASSERT_TRUE(channel.saw("closed " + id));
        EXPECT_EQ(channel.count("message " + id + " REQ_IDR"), 1);
    }
}

TEST_F(Robustness, ProducersOnSeveralThreadsWhileReceiversComeAndGo) {
    TestChannel channel(path);
    Witness witness;
    std::atomic<bool> stop = false;
    std::vector<std::thread> producers;
    producers.reserve(3);
    for (uint8_t id = 0; id < 3; ++id) {
        producers.emplace_back([&, id] {
            while (!stop) {
                channel.publish(static_cast<uint32_t>(100 + 300 * id), id, 2000);
                std::this_thread::yield();
            }
        });
    }
    for (int i = 0; i < 100; ++i) {
        shbf_rcv_t *receiver = shbf_rcv_open(path, nullptr);
        ASSERT_NE(receiver, nullptr);
        shbf_event_t event;
        EXPECT_EQ(shbf_rcv_next(receiver, &event, 5000), 1);
        shbf_rcv_close(receiver);
    }
    stop = true;
    for (std::thread &producer : producers) {
        producer.join();
    }
    witness.finish();
    EXPECT_EQ(witness.torn, 0U);
    EXPECT_GT(witness.frames, 0U);
    EXPECT_TRUE(eventually([&] { return query().receivers == 0; }));
    EXPECT_EQ(query().arena_used, 0U);
}

TEST_F(Robustness, DestroyWhileProducersAreAtIt) {
    for (int round = 0; round < 20; ++round) {
        TestChannel channel(path);
        Witness witness;
        std::atomic<bool> stop = false;
        std::thread producer([&] {
            while (!stop) {
                channel.publish(1000, 1, 4000);
            }
        });
        ASSERT_TRUE(eventually([&] { return witness.frames > 10; }));
        channel.destroy();
        stop = true;
        producer.join();
        witness.finish();
        EXPECT_EQ(witness.torn, 0U);
    }
}

TEST_F(Robustness, PeersThatNeverSayHelloAreDropped) {
    TestChannel channel(path);
    const int fd = connect_raw();
    EXPECT_TRUE(ended(fd));
    close(fd);
    EXPECT_TRUE(channel.journal().empty());
}

TEST_F(Robustness, PeersThatSayNonsenseInsteadOfHelloAreDropped) {
    TestChannel channel(path);
    shbf::Hello wrong = {shbf::Kind::hello, 0x12345678, shbf::wire_version, shbf::Role::receiver, 0, 0};
    const std::string huge(100000, 'x');
    const std::vector<std::string> openings = {
        "x",
        std::string(reinterpret_cast<const char *>(&wrong), sizeof wrong),
        std::string(reinterpret_cast<const char *>(&wrong), sizeof wrong - 1),
        huge,
    };
    for (const std::string &opening : openings) {
        const int fd = connect_raw();
        EXPECT_EQ(send(fd, opening.data(), opening.size(), 0), static_cast<ssize_t>(opening.size()));
        EXPECT_TRUE(ended(fd));
        close(fd);
    }
    EXPECT_TRUE(channel.journal().empty());
}

TEST_F(Robustness, AnotherVersionIsRefusedWithAReason) {
    TestChannel channel(path);
    const int fd = connect_raw();
    const shbf::Hello hello = {shbf::Kind::hello, shbf::wire_magic, 99, shbf::Role::receiver, 0, 0};
    send(fd, &hello, sizeof hello, 0);
    shbf::Refused refused{};
    EXPECT_EQ(recv(fd, &refused, sizeof refused, 0), static_cast<ssize_t>(sizeof refused));
    EXPECT_EQ(refused.kind, shbf::Kind::refused);
    EXPECT_EQ(refused.error, EPROTONOSUPPORT);
    close(fd);
}

TEST_F(Robustness, NonsenseFromAReceiverIsReportedAndTheAnswerDecides) {
    TestChannel channel(path);
    channel.error_answer = -1;
    const int fd = attach_raw();
    const uint32_t no_message[2] = {static_cast<uint32_t>(shbf::Kind::arena), 0};
    send(fd, no_message, sizeof no_message, 0);
    EXPECT_TRUE(channel.saw("error 1 " + std::to_string(EPROTO)));
    struct {
        shbf::Message record;
        char bytes[4];
    } lie = {{shbf::Kind::message, 3, 0}, "abc"};
    send(fd, &lie, sizeof lie, 0);
    EXPECT_TRUE(eventually([&] { return channel.count("error 1 " + std::to_string(EPROTO)) == 2; }));
    const std::string huge(100000, 'x');
    send(fd, huge.data(), huge.size(), 0);
    EXPECT_TRUE(channel.saw("error 1 " + std::to_string(EMSGSIZE)));
    EXPECT_EQ(query().receivers, 1U) << "kept, since the callback said so";
    channel.error_answer = 0;
    send(fd, "x", 1, 0);
    EXPECT_TRUE(channel.saw("closed 1"));
    EXPECT_TRUE(ended(fd));
    close(fd);
}

TEST_F(Robustness, DescriptorsThatAReceiverSendsAreNotKept) {
    TestChannel channel(path);
    channel.error_answer = -1;
    const int fd = attach_raw();
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    ASSERT_TRUE(channel.saw("new 1"));
    const auto before = descriptors();
    // Newer systems refuse to send them (run_dir.h).
    int sent = 0;
    for (int i = 0; i < 50; ++i) {
        sent += send_descriptor(fd, fd) ? 1 : 0;
    }
    EXPECT_TRUE(eventually([&] { return channel.count("message 1 ") == sent; }));
    EXPECT_EQ(descriptors(), before);
    close(fd);
}

TEST_F(Robustness, AReceiverThatScribblesOnItsTableHarmsOnlyItself) {
    TestChannel channel(path);
    Witness witness;
    shbf_rcv_t *vandal = shbf_rcv_open(path, nullptr);
    ASSERT_NE(vandal, nullptr);
    std::mt19937 random(7);
    for (uint32_t i = 1; i <= 500; ++i) {
        ASSERT_GE(channel.publish(1000, static_cast<uint8_t>(i), 4000), 1);
        for (int n = 0; n < 20; ++n) {
            shbf_frame_t forged{};
            forged.slot = static_cast<uint32_t>(random() % 300);
            forged.taking = static_cast<uint32_t>(random() % 600);
            forged.number = forged.taking;
            shbf_rcv_release(vandal, &forged);
        }
        ASSERT_TRUE(eventually([&] { return witness.frames == i; }));
    }
    EXPECT_EQ(witness.torn, 0U);
    EXPECT_EQ(witness.lost, 0U);
    shbf_rcv_close(vandal);
    EXPECT_TRUE(eventually([&] { return query().arena_used == 0; }));
}

TEST_F(Robustness, AFloodOfMessagesDoesNotStarveOthers) {
    TestChannel channel(path);
    Witness witness;
    std::atomic<bool> stop = false;
    std::thread flooder([&] {
        const int fd = attach_raw();
        const shbf::Message empty = {shbf::Kind::message, 0, 0};
        while (!stop) {
            send(fd, &empty, sizeof empty, MSG_DONTWAIT);
        }
        close(fd);
    });
    ASSERT_TRUE(channel.saw("message 2 "));
    shbf_rcv_t *other = shbf_rcv_open(path, nullptr);
    ASSERT_NE(other, nullptr) << "the loop still attaches";
    EXPECT_EQ(shbf_rcv_send(other, "hello", 5), 0);
    EXPECT_TRUE(channel.saw("message 3 hello"));
    stop = true;
    flooder.join();
    shbf_rcv_close(other);
}

TEST_F(Robustness, ConnectionsWithoutEndDoNotStopTheChannel) {
    TestChannel channel(path);
    std::vector<int> idle;
    for (int i = 0; i < 200; ++i) {
        const int fd = connect_raw();
        if (fd >= 0) {
            idle.push_back(fd);
        }
    }
    // Those over the limit are closed at once, the others when they have not said Hello in time.
    EXPECT_TRUE(eventually([&] {
        shbf_rcv_t *receiver = shbf_rcv_open(path, nullptr);
        shbf_rcv_close(receiver);
        return receiver != nullptr;
    }));
    for (const int fd : idle) {
        EXPECT_TRUE(ended(fd));
        close(fd);
    }
}

TEST_F(Robustness, OneUsersSilentConnectionsDoNotKeepOutAnother) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can be somebody else";
    }
    TestChannel channel(path);
    std::filesystem::permissions(run_dir_.file(""), std::filesystem::perms(0755));
    std::filesystem::permissions(run_dir_.file("test_channel"), std::filesystem::perms(0777));
    std::vector<int> silent;
    ASSERT_EQ(seteuid(65534), 0);
    for (int i = 0; i < 60; ++i) {
        silent.push_back(connect_raw());
    }
    ASSERT_EQ(seteuid(0), 0);
    shbf_rcv_t *receiver = shbf_rcv_open(path, nullptr);
    EXPECT_NE(receiver, nullptr) << strerror(errno);
    shbf_rcv_close(receiver);
    for (const int fd : silent) {
        close(fd);
    }
}

TEST_F(Robustness, AWakeThatCannotBeSentIsSentWithTheNextFrame) {
    TestChannel channel(path);
    shbf::LinkPage *page = nullptr;
    const int fd = attach_raw(&page);
    ASSERT_TRUE(channel.saw("new 1"));
    ASSERT_EQ(channel.publish(100), 1); // with this come bell and arena
    const std::vector<char> large(4000);
    while (shbfev_brd_broadcast_message(channel.brd, large.data(), static_cast<int32_t>(large.size())) == 1) {
    }
    page->asleep = shbf::asleep_on_socket;
    ASSERT_EQ(channel.publish(100), 1);
    EXPECT_EQ(page->asleep, shbf::asleep_on_socket) << "there is no room for a Wake";
    static char bytes[shbf::packet_max];
    while (recv(fd, bytes, sizeof bytes, MSG_DONTWAIT) > 0) {
    }
    ASSERT_EQ(channel.publish(100), 1);
    shbf::Wake wake{};
    EXPECT_EQ(recv(fd, &wake, sizeof wake, MSG_DONTWAIT), static_cast<ssize_t>(sizeof wake));
    EXPECT_EQ(wake.kind, shbf::Kind::wake);
    munmap(page, shbf::link_page_bytes);
    close(fd);
}

TEST_F(Robustness, ShortageOfDescriptorsIsSurvived) {
    TestChannel channel(path);
    rlimit saved{};
    getrlimit(RLIMIT_NOFILE, &saved);
    const int client = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    const int highest = dup(client);
    close(highest);
    const rlimit tight = {static_cast<rlim_t>(highest), saved.rlim_max};
    setrlimit(RLIMIT_NOFILE, &tight);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, run_dir_.file("test_channel").c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(connect(client, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    // It tries again and again, and rests a tenth of a second between: two turns of the loop each time.
    const unsigned turns = ev_iteration(channel.loop.loop());
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_TRUE(eventually([&] { return ev_iteration(channel.loop.loop()) >= turns + 12; }));
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(200));
    setrlimit(RLIMIT_NOFILE, &saved);
    const shbf::Hello hello = {
        shbf::Kind::hello, shbf::wire_magic, shbf::wire_version, shbf::Role::receiver, 0, 0};
    EXPECT_EQ(send(client, &hello, sizeof hello, 0), static_cast<ssize_t>(sizeof hello));
    EXPECT_TRUE(channel.saw("new 1"));
    close(client);
}

TEST_F(Robustness, NothingLeaksOverManyAttachments) {
    TestChannel channel(path);
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto mappings = [] {
        std::ifstream maps("/proc/self/maps");
        const std::string all((std::istreambuf_iterator<char>(maps)), {});
        size_t count = 0;
        for (size_t at = all.find("memfd:shbf"); at != std::string::npos;
             at = all.find("memfd:shbf", at + 1)) {
            ++count;
        }
        return count;
    };
    channel.publish(100);
    const auto descriptors_before = descriptors();
    const auto mappings_before = mappings();
    for (int i = 0; i < 300; ++i) {
        shbf_rcv_t *receiver = shbf_rcv_open(path, nullptr);
        ASSERT_NE(receiver, nullptr);
        channel.publish(100);
        shbf_event_t event;
        ASSERT_EQ(shbf_rcv_next(receiver, &event, 5000), 1);
        shbf_rcv_close(receiver);
    }
    ASSERT_TRUE(channel.saw("closed 300"));
    EXPECT_EQ(descriptors(), descriptors_before);
    EXPECT_EQ(mappings(), mappings_before);
    EXPECT_EQ(query().arena_used, 0U);
}

TEST_F(Robustness, AReceiverOfABroadcasterThatDiesSeesTheEndAndCanAttachToItsSuccessor) {
    // The broadcaster is a child that is killed: its socket file stays behind, and is replaced.
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
        struct ev_loop *loop = ev_loop_new(EVFLAG_AUTO);
        shbfev_brd_t *brd = shbfev_brd_create(path);
        if (shbfev_brd_start(loop, brd) == 0 && write(ready[1], "x", 1) == 1) {
            ev_run(loop, 0);
        }
        _exit(1);
    }
    char byte;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    shbf_rcv_t *receiver = shbf_rcv_open(path, nullptr);
    ASSERT_NE(receiver, nullptr);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    shbf_event_t event;
    EXPECT_EQ(shbf_rcv_next(receiver, &event, 5000), -EPIPE);
    shbf_rcv_close(receiver);
    TestChannel successor(path);
    EXPECT_GE(successor.start_result, 0);
    receiver = shbf_rcv_open(path, nullptr);
    EXPECT_NE(receiver, nullptr);
    shbf_rcv_close(receiver);
    close(ready[0]);
    close(ready[1]);
}

} // namespace
