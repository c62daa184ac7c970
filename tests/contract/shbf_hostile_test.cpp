// What receivers could do to a channel, or to each other, before tests/stress found it out.

#include "shbf_robustness_fixture.h"

#include "libshbf.h"

#include <netinet/in.h>
#include <poll.h>
#include <random>

using namespace std::chrono_literals;
using robustness::path;
using support::eventually;
using support::Process;
using support::TestChannel;

namespace {

using HostileReceiver = robustness::Robustness;

/* The last close of a TCP socket with unsent data waits, for as long as its owner said. */
TEST_F(HostileReceiver, DescriptorsThatAreSlowToCloseDoNotHoldUpTheChannel) {
    TestChannel channel(path);
    const int fd = attach_raw();
    constexpr int so_passrights = 83; // Linux 6.16
    int known = 0;
    socklen_t known_length = sizeof known;
    if (getsockopt(fd, SOL_SOCKET, so_passrights, &known, &known_length) != 0) {
        GTEST_SKIP() << "this system lets everybody send descriptors";
    }
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    const int slow = socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_EQ(bind(listener, generic, length), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    ASSERT_EQ(getsockname(listener, generic, &length), 0);
    ASSERT_EQ(connect(slow, generic, length), 0);
    const std::string much(1 << 20, 'x');
    while (send(slow, much.data(), much.size(), MSG_DONTWAIT) > 0) {
    }
    const linger wait = {1, 60};
    setsockopt(slow, SOL_SOCKET, SO_LINGER, &wait, sizeof wait);
    EXPECT_FALSE(send_descriptor(fd, slow));
    std::thread closer([slow] { close(slow); });
    shbf_channel_info_t info{};
    EXPECT_EQ(shbf_channel_query(path, &info, 20000), 0) << "the loop goes on";
    close(listener); // its connection is reset, and nothing lingers any more
    closer.join();
    close(fd);
}

TEST_F(HostileReceiver, AReceiverThatChangesHowItSleepsIsWokenAllTheSame) {
    TestChannel channel(path);
    shbf::LinkPage *page = nullptr;
    const int fd = attach_raw(&page);
    ASSERT_TRUE(channel.saw("new 1"));
    std::atomic<bool> stop = false;
    std::thread producer([&] {
        while (!stop) {
            channel.publish(64);
        }
    });
    std::mt19937 random(7);
    uint32_t released = 0;
    int lost = 0;
    const auto end = std::chrono::steady_clock::now() + 3s;
    while (std::chrono::steady_clock::now() < end && lost == 0) {
        page->asleep = shbf::asleep_on_word;
        for (auto spin = random() % 400; spin > 0; --spin) {
            std::atomic_signal_fence(std::memory_order_seq_cst);
        }
        page->asleep = shbf::asleep_on_socket;
        // Releases what came, so that there is a next frame to be woken for.
        for (; page->asleep != shbf::awake; std::this_thread::yield()) {
            for (; released != page->pushed; ++released) {
                const shbf::Word *entry = page->ring[released % shbf::ring_entries];
                page->released[entry[2] % shbf::slots_max] = entry[3].load();
            }
        }
        for (bool woken = false; !woken && lost == 0;) {
            pollfd poller = {fd, POLLIN, 0};
            lost += poll(&poller, 1, 10000) == 1 ? 0 : 1;
            shbf::Kind kind{};
            recv(fd, &kind, sizeof kind, MSG_DONTWAIT);
            woken = kind == shbf::Kind::wake;
        }
    }
    stop = true;
    producer.join();
    EXPECT_EQ(lost, 0) << "it was made awake, and not woken";
    munmap(page, shbf::link_page_bytes);
    close(fd);
}

TEST_F(HostileReceiver, NobodyIsGivenUpForABufferThatOthersHadLongBefore) {
    TestChannel channel(path);
    Process hoarder = probe("hold");
    ASSERT_TRUE(hoarder.saw("attached"));
    ASSERT_TRUE(channel.saw("new 1"));
    void *early = shbfev_brd_alloc(channel.brd, 16000);
    ASSERT_EQ(shbfev_brd_send(channel.brd, 1, early), 0);
    std::this_thread::sleep_for(SHBF_HOLD_LIMIT_MS * 1ms + 100ms); // what it takes
    shbf_rcv_t *late = shbf_rcv_open(path, nullptr);
    ASSERT_NE(late, nullptr);
    ASSERT_EQ(shbfev_brd_broadcast(channel.brd, early), 1);
    void *second = shbfev_brd_alloc(channel.brd, 16000);
    void *third = shbfev_brd_alloc(channel.brd, 16000); // memory is short from here on
    shbf_free(shbfev_brd_alloc(channel.brd, 100));
    EXPECT_EQ(shbf_rcv_intact(late), 1);
    shbf_event_t event;
    EXPECT_EQ(shbf_rcv_next(late, &event, 5000), 1);
    shbf_free(second);
    shbf_free(third);
    shbf_rcv_close(late);
}

} // namespace
