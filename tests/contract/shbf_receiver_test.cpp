// libshbf_receiver.h: both receiver interfaces, and what they do with a broadcaster that is absent or
// hostile.

#include "libshbf_receiver.h"
#include "shbf/wire.h"
#include "support/channel_fixture.h"
#include "support/passing.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using support::eventually;
using support::TestChannel;

namespace {

constexpr const char *path = "/run/test_channel";

class Receiver : public testing::Test {
  protected:
    ~Receiver() override { shbf_rcv_close(receiver_); }

    void open(uint32_t window = 0) {
        const shbf_rcv_options_t options = {window, 5000};
        receiver_ = shbf_rcv_open(path, &options);
        ASSERT_NE(receiver_, nullptr) << strerror(errno);
    }

    support::ScratchRunDir run_dir_;
    shbf_rcv_t *receiver_ = nullptr;
    shbf_event_t event_{};
};

TEST_F(Receiver, OpenSaysWhyItCannotAttach) {
    EXPECT_EQ(shbf_rcv_open(path, nullptr), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(shbf_rcv_open("/tmp/x", nullptr), nullptr);
    EXPECT_EQ(errno, EINVAL);
    {
        TestChannel channel(path);
        channel.loop.call(
            [&] { std::rename(run_dir_.file("test_channel").c_str(), run_dir_.file("kept").c_str()); });
    }
    std::rename(run_dir_.file("kept").c_str(), run_dir_.file("test_channel").c_str());
    EXPECT_EQ(shbf_rcv_open(path, nullptr), nullptr);
    EXPECT_EQ(errno, ECONNREFUSED);
}

TEST_F(Receiver, NextWaitsNotLongerThanItMay) {
    TestChannel channel(path);
    open();
    EXPECT_EQ(shbf_rcv_next(receiver_, &event_, 0), 0);
    EXPECT_EQ(shbf_rcv_next(receiver_, &event_, 20), 0);
}

TEST_F(Receiver, NextWaitsForEverWhenAsked) {
    TestChannel channel(path);
    open();
    std::thread producer([&] { channel.publish(100, 5); });
    EXPECT_EQ(shbf_rcv_next(receiver_, &event_, -1), 1);
    EXPECT_EQ(event_.frame.size, 100U);
    producer.join();
}

TEST_F(Receiver, TheDescriptorIsReadableWhenThereIsSomething) {
    TestChannel channel(path);
    open();
    pollfd poller = {shbf_rcv_fd(receiver_), POLLIN, 0};
    EXPECT_EQ(poll(&poller, 1, 0), 0);
    channel.publish(100);
    EXPECT_EQ(poll(&poller, 1, 5000), 1);
}

/* What polls finds everything, however little it takes at a time, as long as it goes on until there is
 * nothing. */
TEST_F(Receiver, WhoPollsIsWokenForEachFrame) {
    TestChannel channel(path);
    open();
    pollfd poller = {shbf_rcv_fd(receiver_), POLLIN, 0};
    for (uint8_t i = 1; i <= 100; ++i) {
        ASSERT_EQ(shbf_rcv_next(receiver_, &event_, 0), 0) << "nothing yet, and so asleep";
        ASSERT_EQ(channel.publish(100, i), 1);
        ASSERT_EQ(poll(&poller, 1, 10000), 1);
        int taken = 0;
        while (shbf_rcv_next(receiver_, &event_, 0) == 1) {
            shbf_rcv_release(receiver_, &event_.frame);
            ++taken;
        }
        ASSERT_EQ(taken, 1);
    }
}

TEST_F(Receiver, FramesAndMessagesComeInTheOrderInWhichTheyWereSent) {
    TestChannel channel(path);
    open();
    const auto what_comes = [&] {
        std::string order;
        while (shbf_rcv_next(receiver_, &event_, 100) == 1) {
            if (event_.kind == SHBF_EVENT_MESSAGE) {
                order += static_cast<const char *>(event_.message.bytes);
            } else {
                order += static_cast<char>(*static_cast<const uint8_t *>(event_.frame.data));
                shbf_rcv_release(receiver_, &event_.frame);
            }
        }
        return order;
    };
    const auto send = [&](const std::string &order) {
        for (const char letter : order) {
            if (letter >= 'a') {
                ASSERT_EQ(shbfev_brd_broadcast_message(channel.brd, &letter, 1), 1);
            } else {
                ASSERT_EQ(channel.publish(100, static_cast<uint8_t>(letter)), 1);
            }
        }
    };
    for (const std::string order : {"aAbB", "ABab", "abAB", "AabBCcd", "aaaaAAAAaAaA"}) {
        send(order);
        EXPECT_EQ(what_comes(), order);
        EXPECT_EQ(shbf_rcv_next(receiver_, &event_, 0), 0)
            << "now it sleeps on the socket, and is sent Wakes";
        send(order);
        EXPECT_EQ(what_comes(), order);
    }
}

TEST_F(Receiver, ASignalInterruptsTheWait) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    TestChannel channel(path);
    open();
    const pthread_t self = pthread_self();
    std::atomic<bool> done = false;
    std::thread signaller([&] {
        while (!done) {
            pthread_kill(self, SIGUSR1);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
    EXPECT_EQ(shbf_rcv_next(receiver_, &event_, -1), -EINTR);
    EXPECT_EQ(shbf_rcv_next(receiver_, &event_, 10000), -EINTR);
    done = true;
    signaller.join();
}

TEST_F(Receiver, FramesCannotBeWritten) {
    TestChannel channel(path);
    open();
    channel.publish(100, 1);
    ASSERT_EQ(shbf_rcv_next(receiver_, &event_, 5000), 1);
    char *byte = static_cast<char *>(const_cast<void *>(event_.frame.data));
    EXPECT_DEATH(*byte = 2, "");
    // ASan reports the fault on Linux as a write to a read-only page.
    const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    void *start = reinterpret_cast<void *>(reinterpret_cast<uintptr_t>(byte) / page * page);
    EXPECT_NE(mprotect(start, page, PROT_READ | PROT_WRITE), 0) << "and cannot be made writable";
}

TEST_F(Receiver, HeldFramesKeepTheirBytesWhileOthersCome) {
    TestChannel channel(path);
    open(8);
    std::vector<shbf_event_t> held(8);
    for (uint8_t i = 0; i < 8; ++i) {
        ASSERT_EQ(channel.publish(500, i, 1000), 1);
        ASSERT_EQ(shbf_rcv_next(receiver_, &held[i], 5000), 1);
    }
    for (int i = 0; i < 100; ++i) {
        channel.publish(500, 0xee, 1000);
    }
    for (uint8_t i = 0; i < 8; ++i) {
        for (uint32_t at = 0; at < 500; ++at) {
            ASSERT_EQ(static_cast<const uint8_t *>(held[i].frame.data)[at], i);
        }
    }
}

TEST_F(Receiver, ReleaseMayComeInAnyOrderAndTwice) {
    TestChannel channel(path);
    open(4);
    std::vector<shbf_event_t> held(4);
    for (int round = 0; round < 50; ++round) {
        for (shbf_event_t &event : held) {
            ASSERT_EQ(channel.publish(100), 1);
            ASSERT_EQ(shbf_rcv_next(receiver_, &event, 5000), 1);
        }
        for (const size_t i : {2U, 0U, 3U, 1U, 1U, 2U}) {
            shbf_rcv_release(receiver_, &held[i].frame);
        }
    }
    shbf_channel_info_t info;
    ASSERT_EQ(shbf_channel_query(path, &info, 5000), 0);
    EXPECT_EQ(info.buffers, 0U);
    EXPECT_EQ(info.skipped, 0U);
}

TEST_F(Receiver, ALateSecondReleaseDoesNotUndoThatOfTheNextFrameInThePlace) {
    TestChannel channel(path);
    open(4);
    shbf_event_t first;
    ASSERT_EQ(channel.publish(100), 1);
    ASSERT_EQ(shbf_rcv_next(receiver_, &first, 5000), 1);
    shbf_rcv_release(receiver_, &first.frame);
    shbf_event_t second;
    ASSERT_EQ(channel.publish(100), 1);
    ASSERT_EQ(shbf_rcv_next(receiver_, &second, 5000), 1);
    ASSERT_EQ(second.frame.slot, first.frame.slot);
    shbf_rcv_release(receiver_, &second.frame);
    shbf_rcv_release(receiver_, &first.frame);
    shbf_channel_info_t info;
    ASSERT_EQ(shbf_channel_query(path, &info, 5000), 0);
    EXPECT_EQ(info.buffers, 0U);
}

TEST_F(Receiver, FramesAreIntactUntilTheReceiverIsGivenUp) {
    TestChannel channel(path);
    open(4);
    EXPECT_EQ(shbf_rcv_intact(receiver_), 1) << "before the first frame";
    ASSERT_EQ(channel.publish(100), 1);
    ASSERT_EQ(shbf_rcv_next(receiver_, &event_, 5000), 1);
    EXPECT_EQ(shbf_rcv_intact(receiver_), 1);
    channel.destroy();
    EXPECT_EQ(shbf_rcv_next(receiver_, &event_, 5000), -EPIPE);
    EXPECT_EQ(shbf_rcv_intact(receiver_), 0);
}

TEST_F(Receiver, AnotherThreadMayRelease) {
    TestChannel channel(path);
    open(2);
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(channel.publish(100), 1);
        ASSERT_EQ(shbf_rcv_next(receiver_, &event_, 5000), 1);
        std::thread([&] { shbf_rcv_release(receiver_, &event_.frame); }).join();
    }
}

TEST_F(Receiver, WindowOneBringsTheNewestAfterARelease) {
    TestChannel channel(path);
    open(1);
    channel.publish(100);
    ASSERT_EQ(shbf_rcv_next(receiver_, &event_, 5000), 1);
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(channel.publish(100), 0);
    }
    shbf_rcv_release(receiver_, &event_.frame);
    EXPECT_EQ(channel.publish(100), 1);
    ASSERT_EQ(shbf_rcv_next(receiver_, &event_, 5000), 1);
    EXPECT_EQ(event_.frame.number, 12U);
    EXPECT_EQ(event_.frame.skipped, 10U);
}

TEST_F(Receiver, TheWindowIsAtMostSixtyFour) {
    TestChannel channel(path);
    open(1000);
    int delivered = 0;
    while (channel.publish(64) == 1) {
        ++delivered;
    }
    EXPECT_EQ(delivered, 64);
}

TEST_F(Receiver, TheDefaultWindowIsThirtyTwo) {
    TestChannel channel(path);
    receiver_ = shbf_rcv_open(path, nullptr);
    int delivered = 0;
    while (channel.publish(64) == 1) {
        ++delivered;
    }
    EXPECT_EQ(delivered, 32);
}

TEST_F(Receiver, HeldFramesStayReadableAfterTheEnd) {
    TestChannel channel(path);
    open();
    channel.publish(100, 7);
    ASSERT_EQ(shbf_rcv_next(receiver_, &event_, 5000), 1);
    channel.destroy();
    shbf_event_t end;
    EXPECT_EQ(shbf_rcv_next(receiver_, &end, 5000), -EPIPE);
    EXPECT_EQ(static_cast<const uint8_t *>(event_.frame.data)[99], 7);
    EXPECT_EQ(shbf_rcv_send(receiver_, "x", 1), -EPIPE);
}

TEST_F(Receiver, QueryDescribesTheChannel) {
    TestChannel channel(path);
    open(1);
    channel.publish(1000);
    channel.publish(1000);
    shbf_channel_info_t info{};
    ASSERT_EQ(shbf_channel_query(path, &info, 5000), 0);
    EXPECT_EQ(info.receivers, 1U) << "who asks is none";
    EXPECT_EQ(info.published, 2U);
    EXPECT_EQ(info.skipped, 1U);
    EXPECT_EQ(info.arena_bytes, 65536U);
    EXPECT_EQ(info.arena_used, 1024U);
    EXPECT_EQ(info.buffers, 1U);
    EXPECT_EQ(info.pid, getpid());
    EXPECT_EQ(channel.count("new 2"), 0);
    EXPECT_EQ(shbf_channel_query("/run/nobody", &info, 1000), -ENOENT);
}

// ---- a broadcaster that does not play by the rules ----

/* A socket at the path that answers with what a test says. */
class Impostor {
  public:
    explicit Impostor(const support::ScratchRunDir &run_dir) : fd_(socket(AF_UNIX, SOCK_SEQPACKET, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, run_dir.file("test_channel").c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        listen(fd_, 5);
    }
    ~Impostor() {
        close(fd_);
        close(peer_);
    }
    void accept_one() {
        close(peer_);
        peer_ = accept(fd_, nullptr, nullptr);
        char hello[100];
        EXPECT_EQ(recv(peer_, hello, sizeof hello, 0), static_cast<ssize_t>(sizeof(shbf::Hello)));
    }
    /* Answers, and closes with what the other said unread. */
    template <typename Answer>
    void turn_away(Answer answer) {
        close(peer_);
        peer_ = accept(fd_, nullptr, nullptr);
        pollfd readable = {peer_, POLLIN, 0};
        EXPECT_EQ(poll(&readable, 1, 10000), 1);
        answer();
        close(peer_);
        peer_ = -1;
    }
    template <typename Packet>
    void say(const Packet &packet, int passed = -1) {
        say_bytes(&packet, sizeof packet, passed);
    }
    void say_bytes(const void *bytes, size_t length, int passed = -1) {
        EXPECT_EQ(support::send_passing(peer_, bytes, length, passed), static_cast<ssize_t>(length));
    }

  private:
    int fd_;
    int peer_ = -1;
};

int memory_file(off_t bytes, int seals) {
    const int fd = memfd_create("test", MFD_ALLOW_SEALING);
    EXPECT_EQ(ftruncate(fd, bytes), 0);
    EXPECT_EQ(fcntl(fd, F_ADD_SEALS, seals), 0);
    return fd;
}

class HostileBroadcaster : public Receiver {
  protected:
    HostileBroadcaster() : impostor_(run_dir_) {}

    static shbf::Welcome good_welcome() {
        return {shbf::Kind::welcome, shbf::wire_magic, shbf::wire_version, 1, shbf::slots_max, 0};
    }
    static shbf::Frame good_frame() { return {0, 100, shbf::arena_slots, 1, 0, 1, 1, 0}; }

    ~HostileBroadcaster() override {
        if (page_ != nullptr) {
            munmap(page_, shbf::link_page_bytes);
        }
    }

    /* A link page that the impostor can write too, for the welcome of the next receiver. */
    int new_page() {
        const int fd = memory_file(4096, F_SEAL_SHRINK);
        void *memory = mmap(nullptr, shbf::link_page_bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        EXPECT_NE(memory, MAP_FAILED);
        page_ = static_cast<shbf::LinkPage *>(memory);
        return fd;
    }

    void push(const shbf::Frame &frame) {
        uint32_t words[shbf::frame_words];
        memcpy(words, &frame, sizeof words);
        for (uint32_t i = 0; i < shbf::frame_words; ++i) {
            page_->ring[page_->pushed % shbf::ring_entries][i] = words[i];
        }
        ++page_->pushed;
    }

    /* The errno of attaching to an impostor that answers with `answer`. */
    template <typename Answer>
    int error_of_open(Answer answer, uint32_t timeout_ms = 10000) {
        std::thread thread([&] {
            impostor_.accept_one();
            answer();
        });
        const shbf_rcv_options_t options = {0, timeout_ms};
        receiver_ = shbf_rcv_open(path, &options);
        const int error = receiver_ == nullptr ? errno : 0;
        thread.join();
        return error;
    }

    /* Attaches as to an honest broadcaster; then `packets` come. The result of the next call. */
    template <typename Packets>
    int after_welcome(Packets packets) {
        EXPECT_EQ(error_of_open([&] {
                      const int page = new_page();
                      impostor_.say(good_welcome(), page);
                      close(page);
                  }),
                  0);
        packets();
        return shbf_rcv_next(receiver_, &event_, 5000);
    }

    void say_arena(uint32_t claimed, off_t real, int seals, uint32_t number = 1) {
        const int arena = memory_file(real, seals);
        impostor_.say(shbf::ArenaPacket{shbf::Kind::arena, claimed, number}, arena);
        ++page_->packets;
        close(arena);
    }

    Impostor impostor_;
    shbf::LinkPage *page_ = nullptr;
};

TEST_F(HostileBroadcaster, SilenceTimesOut) {
    EXPECT_EQ(error_of_open([] {}, 100), ETIMEDOUT);
}

TEST_F(HostileBroadcaster, GarbageInsteadOfWelcome) {
    EXPECT_EQ(error_of_open([&] { impostor_.say_bytes("garbage!", 8); }), EPROTO);
}

TEST_F(HostileBroadcaster, APacketTooShortForItsKind) {
    EXPECT_EQ(error_of_open([&] { impostor_.say_bytes("\2", 1); }), EPROTO);
}

TEST_F(HostileBroadcaster, APacketLongerThanAny) {
    const std::string huge(100000, 'x');
    EXPECT_EQ(error_of_open([&] { impostor_.say_bytes(huge.data(), huge.size()); }), EPROTO);
}

TEST_F(HostileBroadcaster, ATruncatedWelcome) {
    const shbf::Welcome welcome = good_welcome();
    EXPECT_EQ(error_of_open([&] { impostor_.say_bytes(&welcome, sizeof welcome - 1); }), EPROTO);
}

TEST_F(HostileBroadcaster, AnotherVersion) {
    shbf::Welcome welcome = good_welcome();
    welcome.version = 2;
    EXPECT_EQ(error_of_open([&] { impostor_.say(welcome); }), EPROTO);
}

TEST_F(HostileBroadcaster, WelcomeWithoutADescriptor) {
    EXPECT_EQ(error_of_open([&] { impostor_.say(good_welcome()); }), EPROTO);
}

TEST_F(HostileBroadcaster, ALinkPageThatCouldBeCutShort) {
    EXPECT_EQ(error_of_open([&] { impostor_.say(good_welcome(), memory_file(4096, F_SEAL_GROW)); }), EPROTO);
}

TEST_F(HostileBroadcaster, ALinkPageThatIsTooShort) {
    EXPECT_EQ(error_of_open([&] { impostor_.say(good_welcome(), memory_file(3199, F_SEAL_SHRINK)); }),
              EPROTO);
}

TEST_F(HostileBroadcaster, ARefusalCarriesItsReason) {
    EXPECT_EQ(error_of_open([&] { impostor_.say(shbf::Refused{shbf::Kind::refused, EACCES}); }), EACCES);
}

TEST_F(HostileBroadcaster, ARefusalWithoutAReason) {
    EXPECT_EQ(error_of_open([&] { impostor_.say(shbf::Refused{shbf::Kind::refused, 0}); }), EPROTO);
}

TEST_F(HostileBroadcaster, ARefusalThatSaysThatNothingHasHappened) {
    EXPECT_EQ(error_of_open([&] { impostor_.say(shbf::Refused{shbf::Kind::refused, EAGAIN}); }), EPROTO);
}

TEST_F(HostileBroadcaster, AFrameBeforeTheArena) {
    EXPECT_EQ(after_welcome([&] { push(good_frame()); }), -EPROTO);
}

TEST_F(HostileBroadcaster, AWakeBeforeWelcome) {
    EXPECT_EQ(error_of_open([&] { impostor_.say(shbf::Wake{shbf::Kind::wake}); }), EPROTO);
}

TEST_F(HostileBroadcaster, AMessageBeforeWelcome) {
    EXPECT_EQ(error_of_open([&] { impostor_.say(shbf::Message{shbf::Kind::message, 0, 0}); }), EPROTO);
}

TEST_F(HostileBroadcaster, AnHonestFrameIsTaken) {
    EXPECT_EQ(after_welcome([&] {
                  say_arena(4096, 4096, F_SEAL_SHRINK);
                  push(good_frame());
              }),
              1);
    EXPECT_EQ(event_.frame.size, 100U);
}

TEST_F(HostileBroadcaster, AnArenaThatCouldBeCutShort) {
    EXPECT_EQ(after_welcome([&] { say_arena(4096, 4096, F_SEAL_GROW); }), -EPROTO);
}

TEST_F(HostileBroadcaster, AnArenaSmallerThanItClaims) {
    EXPECT_EQ(after_welcome([&] { say_arena(8192, 4096, F_SEAL_SHRINK); }), -EPROTO);
}

TEST_F(HostileBroadcaster, AnArenaOfNothing) {
    EXPECT_EQ(after_welcome([&] { say_arena(0, 4096, F_SEAL_SHRINK); }), -EPROTO);
}

TEST_F(HostileBroadcaster, FramesThatDoNotLieInTheArena) {
    struct Case {
        uint32_t offset, size, slot, arena;
    };
    constexpr uint32_t slot = shbf::arena_slots; // the first of arena 1
    for (const Case &wrong :
         {Case{0, 4097, slot, 1}, Case{4096, 1, slot, 1}, Case{4000, 97, slot, 1},
          Case{UINT32_MAX, 2, slot, 1}, Case{1, UINT32_MAX, slot, 1}, Case{0, 100, slot - 1, 1},
          Case{0, 100, shbf::slots_max, 1}, Case{0, 100, UINT32_MAX, 1}, Case{0, 100, slot, 0},
          Case{0, 100, slot, 2}, Case{0, 100, slot, 3}}) {
        EXPECT_EQ(after_welcome([&] {
                      say_arena(4096, 4096, F_SEAL_SHRINK);
                      shbf::Frame frame = good_frame();
                      frame.offset = wrong.offset;
                      frame.size = wrong.size;
                      frame.slot = wrong.slot;
                      frame.arena = wrong.arena;
                      push(frame);
                  }),
                  -EPROTO)
            << wrong.offset << " " << wrong.size << " " << wrong.slot << " " << wrong.arena;
        shbf_rcv_close(receiver_);
        receiver_ = nullptr;
    }
}

TEST_F(HostileBroadcaster, MoreFramesThanTheRingHolds) {
    EXPECT_EQ(after_welcome([&] {
                  say_arena(4096, 4096, F_SEAL_SHRINK);
                  push(good_frame());
                  page_->pushed = shbf::ring_entries + 1;
              }),
              -EPROTO);
}

TEST_F(HostileBroadcaster, APromisedPacketThatNeverComes) {
    EXPECT_EQ(after_welcome([&] { page_->packets = 7; }), -EPROTO);
}

TEST_F(HostileBroadcaster, AFrameBehindAPacketThatNeverComesIsTakenAllTheSame) {
    EXPECT_EQ(after_welcome([&] {
                  say_arena(4096, 4096, F_SEAL_SHRINK);
                  shbf::Frame frame = good_frame();
                  frame.packets = 9;
                  push(frame);
              }),
              1);
}

TEST_F(HostileBroadcaster, AMessageBehindFramesThatNeverComeIsTakenAllTheSame) {
    EXPECT_EQ(after_welcome([&] {
                  impostor_.say(shbf::Message{shbf::Kind::message, 0, 5});
                  page_->packets = 1;
              }),
              1);
    EXPECT_EQ(event_.kind, SHBF_EVENT_MESSAGE);
}

TEST_F(HostileBroadcaster, AnotherArenaInThePlaceOfOneWhoseFrameIsHeld) {
    EXPECT_EQ(after_welcome([&] {
                  say_arena(4096, 4096, F_SEAL_SHRINK);
                  push(good_frame());
              }),
              1);
    say_arena(4096, 4096, F_SEAL_SHRINK, 3);
    shbf_event_t next{};
    EXPECT_EQ(shbf_rcv_next(receiver_, &next, 5000), -EPROTO);
    EXPECT_EQ(*static_cast<const uint8_t *>(event_.frame.data), 0) << "what is held can still be read";
}

TEST_F(HostileBroadcaster, AnotherArenaInThePlaceOfOneThatIsEmpty) {
    EXPECT_EQ(after_welcome([&] {
                  say_arena(4096, 4096, F_SEAL_SHRINK);
                  push(good_frame());
              }),
              1);
    shbf_rcv_release(receiver_, &event_.frame);
    shbf_rcv_release(receiver_, &event_.frame);
    say_arena(8192, 8192, F_SEAL_SHRINK, 3);
    shbf::Frame frame = good_frame();
    frame.offset = 8092;
    frame.sequence = 2;
    frame.packets = 2;
    frame.arena = 3;
    push(frame);
    EXPECT_EQ(shbf_rcv_next(receiver_, &event_, 5000), 1);
}

TEST_F(HostileBroadcaster, ASecondReleaseIsNotThatOfAnotherFrameOfTheSameNumber) {
    EXPECT_EQ(after_welcome([&] {
                  say_arena(4096, 4096, F_SEAL_SHRINK);
                  push(good_frame());
              }),
              1);
    shbf_rcv_release(receiver_, &event_.frame);
    push(good_frame());
    shbf_event_t second{};
    ASSERT_EQ(shbf_rcv_next(receiver_, &second, 5000), 1);
    shbf_rcv_release(receiver_, &event_.frame);
    say_arena(4096, 4096, F_SEAL_SHRINK, 3);
    shbf_event_t next{};
    EXPECT_EQ(shbf_rcv_next(receiver_, &next, 5000), -EPROTO) << "the second is still held";
    EXPECT_EQ(*static_cast<const uint8_t *>(second.frame.data), 0);
}

TEST_F(HostileBroadcaster, AnArenaForWhichThisProcessHasNoDescriptor) {
    const int arena = memory_file(4096, F_SEAL_SHRINK);
    rlimit saved{};
    const int result = after_welcome([&] {
        impostor_.say(shbf::ArenaPacket{shbf::Kind::arena, 4096, 1}, arena);
        ++page_->packets;
        getrlimit(RLIMIT_NOFILE, &saved);
        const int highest = dup(arena);
        close(highest);
        const rlimit tight = {static_cast<rlim_t>(highest), saved.rlim_max};
        setrlimit(RLIMIT_NOFILE, &tight);
    });
    setrlimit(RLIMIT_NOFILE, &saved);
    EXPECT_EQ(result, -EMFILE);
    close(arena);
}

TEST_F(HostileBroadcaster, AnArenaWithoutANumber) {
    EXPECT_EQ(after_welcome([&] { say_arena(4096, 4096, F_SEAL_SHRINK, 0); }), -EPROTO);
}

TEST_F(HostileBroadcaster, WakesWithoutReasonDoNotKeepAReceiverFromItsTimeout) {
    EXPECT_EQ(after_welcome([&] {
                  for (int i = 0; i < 20; ++i) {
                      impostor_.say(shbf::Wake{shbf::Kind::wake});
                  }
                  say_arena(4096, 4096, F_SEAL_SHRINK);
                  push(good_frame());
              }),
              1);
    EXPECT_EQ(shbf_rcv_next(receiver_, &event_, 50), 0);
    EXPECT_EQ(shbf_rcv_next(receiver_, &event_, 0), 0);
}

TEST_F(HostileBroadcaster, AMessageThatLiesAboutItsLength) {
    struct {
        shbf::Message record;
        char bytes[4];
    } packet = {{shbf::Kind::message, 100, 0}, "abc"};
    EXPECT_EQ(after_welcome([&] { impostor_.say(packet); }), -EPROTO);
}

TEST_F(HostileBroadcaster, AKindThatDoesNotExist) {
    const uint32_t packet[2] = {99, 0};
    EXPECT_EQ(after_welcome([&] { impostor_.say(packet); }), -EPROTO);
}

TEST_F(HostileBroadcaster, AQueryIsAnsweredWithGarbage) {
    std::thread thread([&] {
        impostor_.accept_one();
        impostor_.say_bytes("garbage!", 8);
    });
    shbf_channel_info_t info;
    EXPECT_EQ(shbf_channel_query(path, &info, 5000), -EPROTO);
    thread.join();
}

TEST_F(HostileBroadcaster, AQueryIsRefusedUnread) {
    // What a channel does that has all the connections it takes; the system tells of the end first.
    const auto refusing = [&](auto ask) {
        std::thread thread([&] {
            impostor_.turn_away([&] { impostor_.say(shbf::Refused{shbf::Kind::refused, ENOSPC}); });
        });
        EXPECT_EQ(ask(), -ENOSPC);
        thread.join();
    };
    const auto ending = [&](auto ask) {
        std::thread thread([&] { impostor_.turn_away([] {}); });
        EXPECT_EQ(ask(), -EPIPE);
        thread.join();
    };
    const auto query = [] {
        shbf_channel_info_t info;
        return shbf_channel_query(path, &info, 5000);
    };
    const auto access = [] {
        shbf_access_t answer;
        return shbf_channel_access(path, &answer, 5000);
    };
    refusing(query);
    refusing(access);
    ending(query);
    ending(access);
}

TEST_F(HostileBroadcaster, AQueryIsNotAnswered) {
    shbf_channel_info_t info;
    EXPECT_EQ(shbf_channel_query(path, &info, 100), -ETIMEDOUT);
}

// ---- on a loop ----

struct Seen {
    std::atomic<int> attached = 0;
    std::atomic<int> frames = 0;
    std::atomic<uint32_t> bytes = 0;
    std::atomic<int> messages = 0;
    std::atomic<int> closed = 1; // the reason, or 1
    bool close_in_frame = false;
};

class LoopReceiver : public testing::Test {
  protected:
    ~LoopReceiver() override {
        loop_.call([this] { shbfev_rcv_close(receiver_); });
    }

    bool open() {
        shbfev_rcv_callbacks_t callbacks{};
        callbacks.attached = [](void *user, shbfev_rcv_t *) {
            ++static_cast<LoopReceiver *>(user)->seen_.attached;
        };
        callbacks.frame = [](void *user, shbfev_rcv_t *receiver, const shbf_frame_t *frame) {
            auto *self = static_cast<LoopReceiver *>(user);
            ++self->seen_.frames;
            self->seen_.bytes += frame->size;
            shbfev_rcv_release(receiver, frame);
            if (self->seen_.close_in_frame) {
                shbfev_rcv_close(receiver);
                self->receiver_ = nullptr;
            }
        };
        callbacks.message = [](void *user, shbfev_rcv_t *, const void *bytes, uint32_t length) {
            EXPECT_EQ(std::string(static_cast<const char *>(bytes), length), "hello");
            ++static_cast<LoopReceiver *>(user)->seen_.messages;
        };
        callbacks.closed = [](void *user, shbfev_rcv_t *, int32_t reason) {
            static_cast<LoopReceiver *>(user)->seen_.closed = reason;
        };
        const shbf_rcv_options_t options = {0, attach_timeout_ms_};
        receiver_ =
            loop_.call([&] { return shbfev_rcv_open(loop_.loop(), path, &options, &callbacks, this); });
        return receiver_ != nullptr;
    }

    support::ScratchRunDir run_dir_;
    support::LoopThread loop_;
    shbfev_rcv_t *receiver_ = nullptr;
    uint32_t attach_timeout_ms_ = 10000;
    Seen seen_;
};

TEST_F(LoopReceiver, AttachesAndReceives) {
    TestChannel channel(path);
    ASSERT_TRUE(open());
    ASSERT_TRUE(eventually([&] { return seen_.attached == 1; }));
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(channel.publish(50), 1);
        ASSERT_TRUE(eventually([&] { return seen_.frames == i + 1; }));
    }
    EXPECT_EQ(seen_.bytes, 5000U);
    EXPECT_EQ(shbfev_brd_broadcast_message(channel.brd, "hello", 5), 1);
    EXPECT_TRUE(eventually([&] { return seen_.messages == 1; }));
}

TEST_F(LoopReceiver, SendsMessages) {
    TestChannel channel(path);
    ASSERT_TRUE(open());
    ASSERT_TRUE(eventually([&] { return seen_.attached == 1; }));
    EXPECT_EQ(loop_.call([&] { return shbfev_rcv_send(receiver_, "REQ_IDR", 7); }), 0);
    EXPECT_TRUE(channel.saw("message 1 REQ_IDR"));
}

TEST_F(LoopReceiver, HearsOfTheEnd) {
    TestChannel channel(path);
    ASSERT_TRUE(open());
    ASSERT_TRUE(eventually([&] { return seen_.attached == 1; }));
    channel.destroy();
    EXPECT_TRUE(eventually([&] { return seen_.closed == -EPIPE; }));
}

TEST_F(LoopReceiver, OpenFailsWhenNobodyIsThere) {
    const shbfev_rcv_callbacks_t none{};
    const int error = loop_.call([&] {
        EXPECT_EQ(shbfev_rcv_open(loop_.loop(), path, nullptr, &none, nullptr), nullptr);
        return errno;
    });
    EXPECT_EQ(error, ENOENT);
}

TEST_F(LoopReceiver, ABroadcasterThatNeverAnswersTimesOut) {
    const Impostor impostor(run_dir_);
    attach_timeout_ms_ = 100;
    ASSERT_TRUE(open());
    EXPECT_TRUE(eventually([&] { return seen_.closed == -ETIMEDOUT; }));
    EXPECT_EQ(seen_.attached, 0);
}

TEST_F(LoopReceiver, MayBeClosedInItsOwnCallback) {
    TestChannel channel(path);
    seen_.close_in_frame = true;
    ASSERT_TRUE(open());
    ASSERT_TRUE(eventually([&] { return seen_.attached == 1; }));
    channel.publish(10);
    channel.publish(10);
    EXPECT_TRUE(channel.saw("closed 1"));
    EXPECT_EQ(seen_.frames, 1);
}

TEST_F(LoopReceiver, WithoutAFrameCallbackFramesAreReleased) {
    TestChannel channel(path);
    const shbfev_rcv_callbacks_t none{};
    receiver_ = loop_.call([&] { return shbfev_rcv_open(loop_.loop(), path, nullptr, &none, nullptr); });
    ASSERT_TRUE(channel.saw("new 1"));
    EXPECT_EQ(channel.publish(10), 1);
    EXPECT_TRUE(eventually([] {
        shbf_channel_info_t info;
        return shbf_channel_query(path, &info, 5000) == 0 && info.buffers == 0;
    }));
}

} // namespace
