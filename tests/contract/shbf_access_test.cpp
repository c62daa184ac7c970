// Who may listen: the access file at work (docs/channel_access.md), seen from both sides.
//
// Where another user is needed, a child process becomes one; only root can do that, so those tests are
// skipped for everybody else. All others say the same for root and for an ordinary user.

#include "libshbf_receiver.h"
#include "libvuto_util.h"
#include "shbf/access.h"
#include "shbf/wire.h"
#include "support/channel_fixture.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using support::eventually;
using support::TestChannel;

namespace {

constexpr const char *path = "/run/test_channel";
constexpr int32_t patience_ms = 10000;

/* What the libraries log, instead of libvuto_util. */
class Log {
  public:
    [[gnu::format(printf, 3, 0)]] void write(const char *level, const char *format, va_list arguments) {
        char line[1024];
        vsnprintf(line, sizeof line, format, arguments);
        const std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back(level + std::string(" ") + line);
    }
    void clear() {
        const std::lock_guard<std::mutex> lock(mutex_);
        lines_.clear();
    }
    std::string text() {
        const std::lock_guard<std::mutex> lock(mutex_);
        std::string result;
        for (const std::string &line : lines_) {
            result += line;
        }
        return result;
    }
    size_t count() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return lines_.size();
    }
    bool saw(const std::string &words) {
        return eventually([&] { return text().find(words) != std::string::npos; });
    }

  private:
    std::mutex mutex_;
    std::vector<std::string> lines_;
};

Log &the_log() {
    static Log log;
    return log;
}

} // namespace

extern "C" int log_warning(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    the_log().write("warning", format, arguments);
    va_end(arguments);
    return 0;
}

extern "C" int log_err(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    the_log().write("error", format, arguments);
    va_end(arguments);
    return 0;
}

namespace {

class Receiver {
  public:
    Receiver() {
        const shbf_rcv_options_t options = {0, static_cast<uint32_t>(patience_ms)};
        receiver_ = shbf_rcv_open(path, &options);
        error = receiver_ == nullptr ? errno : 0;
    }
    ~Receiver() { shbf_rcv_close(receiver_); }
    Receiver(const Receiver &) = delete;
    Receiver &operator=(const Receiver &) = delete;

    int32_t send(const std::string &text) const {
        return shbf_rcv_send(receiver_, text.data(), static_cast<uint32_t>(text.size()));
    }
    /* The result of the next event. */
    int32_t next(int32_t timeout_ms = patience_ms) const {
        shbf_event_t event;
        return shbf_rcv_next(receiver_, &event, timeout_ms);
    }
    int error;

  private:
    shbf_rcv_t *receiver_;
};

class Access : public testing::Test {
  protected:
    Access() { the_log().clear(); }
    ~Access() override { unsetenv("STRELL_CHANNELS_CONF"); }

    /* The access file of the channels that are started from now on. */
    void conf(const std::string &settings) {
        const std::string file = run_dir_.file("channels.conf");
        std::ofstream(file) << "[default]\n" << settings << "\n";
        chmod(file.c_str(), 0644);
        setenv("STRELL_CHANNELS_CONF", file.c_str(), 1);
    }

    mode_t socket_mode() const {
        struct stat status {};
        EXPECT_EQ(stat(run_dir_.file("test_channel").c_str(), &status), 0);
        return status.st_mode & 07777;
    }

    /* A raw connection, which says nothing by itself. */
    int connect_raw() const {
        const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, run_dir_.file("test_channel").c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        return fd;
    }

    static void say_hello(int fd) {
        const shbf::Hello hello = {
            shbf::Kind::hello, shbf::wire_magic, shbf::wire_version, shbf::Role::receiver, 0, 0};
        EXPECT_EQ(send(fd, &hello, sizeof hello, MSG_NOSIGNAL), static_cast<ssize_t>(sizeof hello));
    }

    /* The errno value of the refusal that comes next on `fd`; 0 for anything else. */
    static int refusal(int fd) {
        const timeval limit = {patience_ms / 1000, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        shbf::Refused packet{};
        const ssize_t length = recv(fd, &packet, sizeof packet, 0);
        return length == sizeof packet && packet.kind == shbf::Kind::refused ? packet.error : 0;
    }

    /* What attaching says to a process of user and group `id` with one more group: 0 or errno. */
    static int error_for_user(uid_t id, gid_t more = 4200) {
        const pid_t child = fork();
        if (child == 0) {
            if (setgroups(1, &more) != 0 || setresgid(id, id, id) != 0 || setresuid(id, id, id) != 0) {
                _exit(250);
            }
            const shbf_rcv_options_t options = {0, static_cast<uint32_t>(patience_ms)};
            _exit(shbf_rcv_open(path, &options) != nullptr ? 0 : errno);
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 251;
    }

    /* Users other than this one come as far as the socket. */
    void let_others_into_the_directory() const { chmod(run_dir_.path().c_str(), 0755); }

    static std::string myself() { return std::to_string(geteuid()); }
    static std::string somebody_else() { return std::to_string(geteuid() + 1); }

    support::ScratchRunDir run_dir_;
};

/* The same where other users are needed. */
class AccessOfOthers : public Access {
  protected:
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "only root can become another user";
        }
        let_others_into_the_directory();
    }
};

TEST_F(Access, WithoutAFileEverybodyMayAndNothingIsLogged) {
    const TestChannel channel(path);
    ASSERT_GE(channel.start_result, 0);
    const Receiver one;
    const Receiver other;
    EXPECT_EQ(one.error, 0);
    EXPECT_EQ(other.error, 0);
    EXPECT_EQ(the_log().text(), "");
}

// ---- the socket ----

TEST_F(Access, TheSocketHasItsModeWhateverTheUmask) {
    conf("mode = 0640");
    for (const mode_t mask : {0U, 077U}) {
        const mode_t before = umask(mask);
        const TestChannel channel(path);
        umask(before);
        EXPECT_EQ(socket_mode(), 0640U);
        EXPECT_EQ(Receiver().error, 0);
    }
}

TEST_F(Access, TheSocketHasItsGroup) {
    const gid_t group = geteuid() == 0 ? 4242 : getegid();
    conf("mode = 0660\ngroup = " + std::to_string(group));
    const TestChannel channel(path);
    struct stat status {};
    ASSERT_EQ(stat(run_dir_.file("test_channel").c_str(), &status), 0);
    EXPECT_EQ(status.st_gid, group);
    EXPECT_EQ(Receiver().error, 0);
}

TEST_F(Access, AGroupThatCannotBeGivenClosesTheChannel) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "root can give any group";
    }
    conf("mode = 0660\ngroup = 0");
    const TestChannel channel(path);
    EXPECT_GE(channel.start_result, 0);
    EXPECT_EQ(socket_mode(), 0600U);
    EXPECT_EQ(Receiver().error, EPERM);
    EXPECT_TRUE(the_log().saw("cannot be given mode 0660, group 0 by this user"));
}

TEST_F(AccessOfOthers, TheSocketsModeKeepsOutWhoIsNotInItsGroup) {
    conf("mode = 0660\ngroup = 4242");
    const TestChannel channel(path);
    EXPECT_EQ(error_for_user(4242), 0);
    EXPECT_EQ(error_for_user(4243, 4242), 0) << "a second group counts";
    EXPECT_EQ(error_for_user(4243), EACCES);
}

// ---- users and groups ----

TEST_F(Access, WhoIsNotAmongTheUsersIsRefusedAndBothSidesKnowWhy) {
    conf("users = " + somebody_else());
    TestChannel channel(path);
    const Receiver refused;
    EXPECT_EQ(refused.error, EACCES);
    EXPECT_NE(std::string(shbf_rcv_problem(refused.error)).find("this user may not attach"),
              std::string::npos);
    EXPECT_TRUE(the_log().saw("warning shbf: /run/test_channel: process " + std::to_string(getpid()) +
                              " of user " + myself() +
                              " refused, for it is not among the channel's users and groups\n"));
    EXPECT_TRUE(channel.journal().empty()) << "the owner of the channel never heard of it";
}

TEST_F(Access, WhoIsAmongTheUsersMayAttach) {
    conf("users = " + somebody_else() + ", " + myself());
    const TestChannel channel(path);
    EXPECT_EQ(Receiver().error, 0);
}

TEST_F(Access, AMemberOfAGroupMayAttachAsWell) {
    conf("users = " + somebody_else() + "\ngroups = " + std::to_string(getegid()));
    const TestChannel channel(path);
    EXPECT_EQ(Receiver().error, 0);
}

TEST_F(Access, AskingIsForThoseWhoMayAttach) {
    conf("users = " + somebody_else());
    const TestChannel channel(path);
    shbf_channel_info_t info;
    EXPECT_EQ(shbf_channel_query(path, &info, patience_ms), -EACCES);
}

TEST_F(Access, ALoopReceiverHearsTheReason) {
    conf("users = " + somebody_else());
    const TestChannel channel(path);
    support::LoopThread loop;
    std::atomic<int32_t> reason = 0;
    shbfev_rcv_callbacks_t callbacks{};
    callbacks.closed = [](void *user, shbfev_rcv_t *, int32_t why) {
        static_cast<std::atomic<int32_t> *>(user)->store(why);
    };
    shbfev_rcv_t *receiver =
        loop.call([&] { return shbfev_rcv_open(loop.loop(), path, nullptr, &callbacks, &reason); });
    ASSERT_NE(receiver, nullptr);
    EXPECT_TRUE(eventually([&] { return reason == -EACCES; })) << reason;
    loop.call([&] { shbfev_rcv_close(receiver); });
}

TEST_F(Access, AChannelHasRulesOfItsOwn) {
    conf("users = " + somebody_else() + "\n[" + path + "]\nusers = " + myself());
    const TestChannel channel(path);
    EXPECT_EQ(Receiver().error, 0);
    const TestChannel other("/run/other_channel");
    EXPECT_EQ(shbf_rcv_open("/run/other_channel", nullptr), nullptr);
    EXPECT_EQ(errno, EACCES);
}

TEST_F(AccessOfOthers, EachUserIsTakenForWhoHeIs) {
    conf("users = 4242\ngroups = 4300");
    const TestChannel channel(path);
    ASSERT_EQ(chmod(run_dir_.file("test_channel").c_str(), 0777), 0);
    EXPECT_EQ(error_for_user(4242), 0);
    EXPECT_EQ(error_for_user(4243), EACCES);
    EXPECT_EQ(error_for_user(4300), 0) << "by its first group";
    EXPECT_EQ(error_for_user(4243, 4300), 0) << "by another group of its";
    EXPECT_EQ(Receiver().error, EACCES) << "root is not listed";
}

TEST_F(AccessOfOthers, ManyGroupsAreLookedThroughToo) {
    conf("groups = 4300\nmode = 0666");
    const TestChannel channel(path);
    const pid_t child = fork();
    if (child == 0) {
        gid_t many[500];
        for (gid_t i = 0; i < 500; ++i) {
            many[i] = 5000 + i;
        }
        many[499] =
            4300; // the kernel sorts them; so this is the first, and the others fill more than one look
        const bool changed =
            setgroups(500, many) == 0 && setresgid(4243, 4243, 4243) == 0 && setresuid(4243, 4243, 4243) == 0;
        _exit(!changed ? 250 : shbf_rcv_open(path, nullptr) != nullptr ? 0 : errno);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

// ---- how many ----

TEST_F(Access, TheChannelTakesSoManyReceivers) {
    conf("receivers = 2");
    TestChannel channel(path);
    const Receiver first;
    {
        const Receiver second;
        ASSERT_EQ(second.error, 0);
        const Receiver third;
        EXPECT_EQ(third.error, ENOSPC);
        EXPECT_TRUE(the_log().saw("(receivers = 2)"));
        shbf_channel_info_t info{};
        EXPECT_EQ(shbf_channel_query(path, &info, patience_ms), 0) << "who only asks needs no place";
        EXPECT_EQ(info.receivers, 2U);
    }
    ASSERT_TRUE(channel.saw("closed 2"));
    EXPECT_EQ(Receiver().error, 0) << "a place is free again";
}

TEST_F(Access, NoReceiversAtAll) {
    conf("receivers = 0");
    const TestChannel channel(path);
    EXPECT_EQ(Receiver().error, ENOSPC);
}

TEST_F(Access, AUserTakesSoManyReceivers) {
    conf("receivers_per_user = 1");
    const TestChannel channel(path);
    const Receiver first;
    EXPECT_EQ(first.error, 0);
    const Receiver second;
    EXPECT_EQ(second.error, EUSERS);
    EXPECT_NE(std::string(shbf_rcv_problem(EUSERS)).find("receivers_per_user"), std::string::npos);
    EXPECT_TRUE(the_log().saw("(receivers_per_user = 1)"));
}

TEST_F(AccessOfOthers, WhatOneUserTakesIsNotTakenFromAnother) {
    conf("receivers_per_user = 1\nmode = 0666");
    const TestChannel channel(path);
    const Receiver mine;
    ASSERT_EQ(mine.error, 0);
    EXPECT_EQ(error_for_user(4242), 0);
}

TEST_F(AccessOfOthers, WhoMayNotAttachKeepsNobodyOut) {
    conf("users = 4242\nmode = 0666\nhandshake_ms = 60000");
    const TestChannel channel(path);
    std::vector<int> silent(100);
    for (int &fd : silent) {
        fd = connect_raw();
    }
    EXPECT_EQ(error_for_user(4242), 0);
    EXPECT_EQ(refusal(silent.front()), EACCES) << "the oldest had to make room";
    for (const int fd : silent) {
        close(fd);
    }
}

// ---- messages ----

TEST_F(Access, AMessageOverTheChannelsSizeIsAnError) {
    conf("message_bytes = 10");
    TestChannel channel(path);
    const Receiver receiver;
    EXPECT_EQ(receiver.send("0123456789"), 0);
    EXPECT_TRUE(channel.saw("message 1 0123456789"));
    channel.error_answer = -1;
    EXPECT_EQ(receiver.send("0123456789a"), 0);
    EXPECT_TRUE(channel.saw("error 1 " + std::to_string(EMSGSIZE)));
    EXPECT_EQ(receiver.send("kept"), 0);
    EXPECT_TRUE(channel.saw("message 1 kept"));
    channel.error_answer = 0;
    EXPECT_EQ(receiver.send(std::string(5000, 'x')), 0);
    EXPECT_TRUE(channel.saw("closed 1"));
    EXPECT_EQ(receiver.next(), -EPIPE);
    EXPECT_TRUE(the_log().saw("sent a message that is too long (message_bytes = 10)"));
}

TEST_F(Access, NoMessagesButEmptyOnes) {
    conf("message_bytes = 0");
    TestChannel channel(path);
    const Receiver receiver;
    EXPECT_EQ(receiver.send(""), 0);
    EXPECT_TRUE(channel.saw("message 1 "));
    EXPECT_EQ(receiver.send("x"), 0);
    EXPECT_TRUE(channel.saw("error 1 " + std::to_string(EMSGSIZE)));
}

TEST_F(Access, MessagesBeyondTheRateAreDroppedAndToldOnceASecond) {
    conf("messages_per_second = 5");
    TestChannel channel(path);
    const Receiver receiver;
    const auto start = std::chrono::steady_clock::now();
    constexpr int tries = 200;
    for (int i = 0; i < tries; ++i) {
        while (receiver.send("m") == -EAGAIN) {
            std::this_thread::yield();
        }
    }
    EXPECT_TRUE(channel.saw("error 1 " + std::to_string(EAGAIN)));
    // An end that can be seen: sent until the pace allows it.
    EXPECT_TRUE(eventually([&] {
        receiver.send("last");
        return channel.count("message 1 last") > 0;
    }));
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
    const long most = 5 + 5 * (seconds.count() + 1);
    EXPECT_GE(channel.count("message 1 m"), 5);
    EXPECT_LE(channel.count("message 1 m") + channel.count("message 1 last"), most);
    EXPECT_LE(channel.count("error 1 " + std::to_string(EAGAIN)), 2 + seconds.count());
    EXPECT_EQ(channel.count("closed 1"), 0) << "it stays, and gets its frames";
    channel.publish(100);
    EXPECT_EQ(receiver.next(), 1);
    EXPECT_TRUE(the_log().saw("sends too many messages (messages_per_second = 5)"));
}

TEST_F(Access, TheRateIsEachReceiversOwn) {
    conf("messages_per_second = 1");
    TestChannel channel(path);
    const Receiver one;
    const Receiver other;
    EXPECT_EQ(one.send("a"), 0);
    EXPECT_EQ(other.send("b"), 0);
    EXPECT_TRUE(channel.saw("message 1 a"));
    EXPECT_TRUE(channel.saw("message 2 b"));
}

// ---- the handshake ----

TEST_F(Access, WhoSaysNothingIsToldThatItsTimeIsUp) {
    conf("handshake_ms = 50");
    const TestChannel channel(path);
    const int silent = connect_raw();
    EXPECT_EQ(refusal(silent), ETIMEDOUT);
    char byte;
    EXPECT_EQ(recv(silent, &byte, 1, 0), 0) << "and then the end";
    close(silent);
    EXPECT_TRUE(the_log().saw("refused, for it said nothing in time (handshake_ms = 50)"));
}

TEST_F(Access, WhoMayNotAttachIsToldSoEvenWhenItSaysNothing) {
    conf("handshake_ms = 50\nusers = " + somebody_else());
    const TestChannel channel(path);
    const int silent = connect_raw();
    EXPECT_EQ(refusal(silent), EACCES);
    close(silent);
}

TEST_F(Access, AnAttachedReceiverHasNoTimeLimit) {
    conf("handshake_ms = 10");
    TestChannel channel(path);
    const int fd = connect_raw();
    say_hello(fd);
    if (!channel.saw("new 1")) {
        GTEST_FAIL() << "a Hello that stands in the socket counts, however late it is read";
    }
    const int silent = connect_raw();
    EXPECT_EQ(refusal(silent), ETIMEDOUT);
    EXPECT_EQ(channel.count("closed 1"), 0);
    close(silent);
    close(fd);
}

TEST_F(Access, AHelloCountsThoughTheLoopWasBusyBeyondTheTime) {
    conf("handshake_ms = 100");
    TestChannel channel(path);
    // A slow machine may take the time away before Hello is said; hardly again and again.
    for (int tries = 0; tries < 20 && channel.count("new 1") == 0; ++tries) {
        const int fd = connect_raw();
        channel.loop.call([] {});
        channel.loop.call([] {}); // by now it has been accepted
        channel.loop.call([&] {
            say_hello(fd);
            std::this_thread::sleep_for(std::chrono::milliseconds(150));
        });
        char answer[100];
        EXPECT_GT(recv(fd, answer, sizeof answer, 0), 0);
        close(fd);
    }
    EXPECT_TRUE(channel.saw("new 1"));
}

// ---- asking ----

TEST_F(Access, WhoMayAttachMayAskForTheRulesAndForTheOthers) {
    conf("mode = 0620\nusers = " + somebody_else() + "," + myself() + "\ngroups = 77\nreceivers = 3\n" +
         "receivers_per_user = 2\nmessage_bytes = 4\nmessages_per_second = 5\nhandshake_ms = 6000");
    TestChannel channel(path);
    const Receiver one;
    const Receiver other;
    shbf_access_t access{};
    ASSERT_EQ(shbf_channel_access(path, &access, patience_ms), 0);
    EXPECT_EQ(access.mode, 0620U);
    EXPECT_EQ(access.user_count, 2U);
    EXPECT_EQ(access.users[0], geteuid() + 1);
    EXPECT_EQ(access.users[1], geteuid());
    EXPECT_EQ(access.group_count, 1U);
    EXPECT_EQ(access.groups[0], 77U);
    EXPECT_EQ(access.receivers, 3U);
    EXPECT_EQ(access.receivers_per_user, 2U);
    EXPECT_EQ(access.message_bytes, 4U);
    EXPECT_EQ(access.messages_per_second, 5U);
    EXPECT_EQ(access.handshake_ms, 6000U);
    ASSERT_EQ(access.attached_count, 2U);
    EXPECT_EQ(access.attached[0].receiver + access.attached[1].receiver, 3);
    EXPECT_EQ(access.attached[0].pid, getpid());
    EXPECT_EQ(access.attached[0].uid, geteuid());
    EXPECT_EQ(channel.count("new 3"), 0) << "who asks is no receiver";
}

TEST_F(Access, AskingTellsNothingToOthers) {
    conf("users = " + somebody_else());
    const TestChannel channel(path);
    shbf_access_t access;
    EXPECT_EQ(shbf_channel_access(path, &access, patience_ms), -EACCES);
    EXPECT_EQ(shbf_channel_access("/run/nobody", &access, patience_ms), -ENOENT);
}

TEST_F(Access, AnAnswerWithListsTooLongIsNotBelieved) {
    const int listener = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, run_dir_.file("test_channel").c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 5), 0);
    for (const int list : {0, 1, 2, 3}) {
        std::thread impostor([&] {
            const int fd = accept(listener, nullptr, nullptr);
            char hello[100];
            recv(fd, hello, sizeof hello, 0);
            shbf::AccessPacket packet{};
            packet.kind = shbf::Kind::access;
            packet.access.user_count = list == 1 ? SHBF_ACCESS_NAMES_MAX + 1 : SHBF_ACCESS_NAMES_MAX;
            packet.access.group_count = list == 2 ? SHBF_ACCESS_NAMES_MAX + 1 : SHBF_ACCESS_NAMES_MAX;
            packet.access.attached_count = list == 3 ? UINT32_MAX : SHBF_RECEIVERS_MAX;
            send(fd, &packet, sizeof packet, MSG_NOSIGNAL);
            close(fd);
        });
        shbf_access_t access{};
        EXPECT_EQ(shbf_channel_access(path, &access, patience_ms), list == 0 ? 0 : -EPROTO) << list;
        impostor.join();
    }
    close(listener);
}

// ---- a file that cannot be followed ----

TEST_F(Access, AMistakeInTheFileClosesTheChannelAndLeavesTheRestRunning) {
    conf("users = " + myself() + "\nreciever = 4");
    TestChannel channel(path);
    EXPECT_GE(channel.start_result, 0) << "the daemon goes on";
    EXPECT_EQ(socket_mode(), 0600U);
    EXPECT_NE(
        the_log().text().find("error shbf: /run/test_channel is closed to everybody until this is corrected"),
        std::string::npos)
        << the_log().text();
    EXPECT_NE(the_log().text().find("channels.conf:3: there is no key \"reciever\""), std::string::npos)
        << the_log().text();
    EXPECT_EQ(Receiver().error, EPERM);
    EXPECT_NE(std::string(shbf_rcv_problem(EPERM)).find("its log says what to correct"), std::string::npos);
    shbf_channel_info_t info;
    EXPECT_EQ(shbf_channel_query(path, &info, patience_ms), -EPERM);
    EXPECT_EQ(channel.publish(100), 0);
}

TEST_F(Access, AFileThatIsNamedAndMissingClosesTheChannel) {
    setenv("STRELL_CHANNELS_CONF", run_dir_.file("missing.conf").c_str(), 1);
    const TestChannel channel(path);
    EXPECT_GE(channel.start_result, 0);
    EXPECT_EQ(Receiver().error, EPERM);
}

TEST_F(Access, TheFileIsReadOnceWhenTheChannelStarts) {
    conf("users = " + myself());
    const TestChannel channel(path);
    conf("users = " + somebody_else());
    EXPECT_EQ(Receiver().error, 0);
}

// ---- the log ----

TEST_F(Access, AFloodOfRefusedConnectionsIsNoFloodOfLines) {
    conf("users = " + somebody_else());
    const TestChannel channel(path);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 300; ++i) {
        ASSERT_EQ(Receiver().error, EACCES);
    }
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
    EXPECT_GE(the_log().count(), 10U);
    EXPECT_LE(the_log().count(), 11U + static_cast<size_t>(seconds.count()) / 6);
}

TEST(ReceiverProblem, EachErrorHasWordsForEitherSign) {
    for (const int error : {ENOENT, ECONNREFUSED, EACCES, EPERM, ENOSPC, EUSERS, ETIMEDOUT, EPIPE, EPROTO,
                            EPROTONOSUPPORT, EMSGSIZE, EAGAIN}) {
        const std::string text(shbf_rcv_problem(error));
        EXPECT_GT(text.size(), 40U);
        EXPECT_NE(text, strerror(error));
        EXPECT_EQ(text, shbf_rcv_problem(-error));
    }
    EXPECT_STREQ(shbf_rcv_problem(EINVAL), strerror(EINVAL));
}

} // namespace
