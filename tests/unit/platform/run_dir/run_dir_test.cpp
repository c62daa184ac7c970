// Sockets under /run: who gets a path, and who does not.

#include "run_dir/run_dir.h"
#include "support/eventually.h"
#include "support/scratch.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

constexpr char path[] = "/run/served";
constexpr int backlog = 4;

/* A descriptor that closes itself; negative values are errors. */
class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { drop(); }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int number() const { return number_; }
    void drop() {
        if (number_ >= 0) {
            close(number_);
        }
        number_ = -1;
    }

  private:
    int number_;
};

class RunDir : public testing::Test {
  protected:
    int locked_directory() const {
        const int fd = open(run_dir_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        EXPECT_EQ(flock(fd, LOCK_EX), 0);
        return fd;
    }

    support::ScratchRunDir run_dir_;
};

TEST_F(RunDir, AListenerIsReachedNotBlockingAndEndsWithExec) {
    const Descriptor listener(run_dir_listen(path, SOCK_SEQPACKET, backlog));
    ASSERT_GE(listener.number(), 0);
    EXPECT_NE(fcntl(listener.number(), F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_NE(fcntl(listener.number(), F_GETFL) & O_NONBLOCK, 0);
    const Descriptor client(run_dir_connect(path, SOCK_SEQPACKET, 0));
    EXPECT_GE(client.number(), 0);
    EXPECT_EQ(fcntl(client.number(), F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(RunDir, APathElsewhereOrTooLongIsRefused) {
    sockaddr_un address;
    EXPECT_EQ(run_dir_address("/tmp/served", &address), -EINVAL);
    EXPECT_EQ(run_dir_address("/run/", &address), -EINVAL);
    EXPECT_EQ(run_dir_address(nullptr, &address), -EINVAL);
    EXPECT_EQ(run_dir_listen(("/run/" + std::string(108, 'x')).c_str(), SOCK_SEQPACKET, backlog),
              -ENAMETOOLONG);
}

TEST_F(RunDir, ALivingServerKeepsItsPath) {
    const Descriptor listener(run_dir_listen(path, SOCK_SEQPACKET, backlog));
    EXPECT_EQ(run_dir_listen(path, SOCK_SEQPACKET, backlog), -EADDRINUSE);
    EXPECT_EQ(run_dir_listen(path, SOCK_STREAM, backlog), -EADDRINUSE) << "also one of another type";
    EXPECT_GE(Descriptor(run_dir_connect(path, SOCK_SEQPACKET, 0)).number(), 0);
}

TEST_F(RunDir, ALivingServerThatAcceptsNobodyKeepsItsPath) {
    const Descriptor listener(run_dir_listen(path, SOCK_SEQPACKET, 0));
    const Descriptor waiting(run_dir_connect(path, SOCK_SEQPACKET, 0));
    EXPECT_EQ(run_dir_connect(path, SOCK_SEQPACKET, 20), -ETIMEDOUT);
    EXPECT_EQ(run_dir_listen(path, SOCK_SEQPACKET, backlog), -EADDRINUSE);
}

TEST_F(RunDir, ADeadServerIsReplaced) {
    Descriptor(run_dir_listen(path, SOCK_SEQPACKET, backlog)).drop();
    ASSERT_TRUE(std::filesystem::exists(run_dir_.file("served")));
    EXPECT_EQ(run_dir_connect(path, SOCK_SEQPACKET, 0), -ECONNREFUSED);
    const Descriptor listener(run_dir_listen(path, SOCK_SEQPACKET, backlog));
    EXPECT_GE(listener.number(), 0);
}

TEST_F(RunDir, WhatIsNoSocketIsLeftAlone) {
    std::ofstream(run_dir_.file("served")) << "precious";
    EXPECT_EQ(run_dir_listen(path, SOCK_SEQPACKET, backlog), -EEXIST);
    EXPECT_TRUE(std::filesystem::is_regular_file(run_dir_.file("served")));
}

TEST_F(RunDir, WithoutADirectoryThereIsNoListener) {
    setenv("STRELL_RUN_DIR", run_dir_.file("missing").c_str(), 1);
    EXPECT_EQ(run_dir_listen(path, SOCK_SEQPACKET, backlog), -ENOENT);
    EXPECT_EQ(run_dir_connect(path, SOCK_SEQPACKET, 0), -ENOENT);
}

TEST_F(RunDir, ADirectoryThatStaysLockedIsAnErrorAndNoWaitWithoutEnd) {
    Descriptor lock(locked_directory());
    int result = 0;
    std::atomic<bool> returned{false};
    std::thread starting([&] {
        result = run_dir_listen(path, SOCK_SEQPACKET, backlog);
        returned.store(true);
    });
    EXPECT_TRUE(support::eventually([&] { return returned.load(); }));
    lock.drop(); // one that waits all the same shall not keep the test
    starting.join();
    EXPECT_EQ(result, -EBUSY);
    const Descriptor listener(run_dir_listen(path, SOCK_SEQPACKET, backlog));
    EXPECT_GE(listener.number(), 0) << "free again";
}

TEST_F(RunDir, ADirectoryThatIsLockedForAMomentIsWaitedFor) {
    // On a slow machine one start may come just too late; hardly all of them.
    for (int tries = 0; tries < 20; ++tries) {
        Descriptor lock(locked_directory());
        std::thread freeing([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
            lock.drop();
        });
        const Descriptor listener(run_dir_listen(path, SOCK_SEQPACKET, backlog));
        freeing.join();
        if (listener.number() >= 0) {
            return;
        }
        ASSERT_EQ(listener.number(), -EBUSY);
    }
    FAIL() << "it never waits";
}

TEST_F(RunDir, OfManyAtOnceOneGetsTheDeadOnesPath) {
    Descriptor(run_dir_listen(path, SOCK_SEQPACKET, backlog)).drop();
    std::vector<int> results(6);
    std::vector<std::thread> threads;
    for (int &result : results) {
        threads.emplace_back([&result] { result = run_dir_listen(path, SOCK_SEQPACKET, 20); });
    }
    int listening = 0;
    for (size_t i = 0; i < threads.size(); ++i) {
        threads[i].join();
        listening += results[i] >= 0 ? 1 : 0;
        EXPECT_TRUE(results[i] >= 0 || results[i] == -EADDRINUSE) << results[i];
    }
    EXPECT_EQ(listening, 1);
    EXPECT_GE(Descriptor(run_dir_connect(path, SOCK_SEQPACKET, 0)).number(), 0);
    for (const int result : results) {
        Descriptor(result).drop();
    }
}

/* Of the process, for the length of a scope. */
class Umask {
  public:
    explicit Umask(mode_t mask) : before_(umask(mask)) {}
    ~Umask() { umask(before_); }
    Umask(const Umask &) = delete;
    Umask &operator=(const Umask &) = delete;

  private:
    mode_t before_;
};

struct stat status_of(const std::string &file) {
    struct stat status {};
    EXPECT_EQ(stat(file.c_str(), &status), 0);
    return status;
}

TEST_F(RunDir, TheModeIsTheOneAskedForWhateverTheUmask) {
    for (const mode_t mask : {0U, 022U, 077U, 0777U}) {
        const Umask scope(mask);
        for (const mode_t mode : {0600U, 0660U, 0666U, 0750U, 0777U, 0200U}) {
            const Descriptor listener(run_dir_listen(path, SOCK_SEQPACKET, backlog,
                                                     {static_cast<int32_t>(mode), static_cast<gid_t>(-1)}));
            ASSERT_GE(listener.number(), 0) << listener.number();
            EXPECT_EQ(status_of(run_dir_.file("served")).st_mode, S_IFSOCK | mode);
        }
    }
}

TEST_F(RunDir, WithoutAModeTheUmaskDecides) {
    const Umask scope(027);
    const Descriptor listener(run_dir_listen(path, SOCK_SEQPACKET, backlog));
    EXPECT_EQ(status_of(run_dir_.file("served")).st_mode, static_cast<mode_t>(S_IFSOCK | 0750));
    const Descriptor other(run_dir_listen("/run/other", SOCK_SEQPACKET, backlog, {-1, getegid()}));
    EXPECT_EQ(status_of(run_dir_.file("other")).st_mode, static_cast<mode_t>(S_IFSOCK | 0750));
}

TEST_F(RunDir, TheGroupIsTheOneAskedFor) {
    const gid_t group = geteuid() == 0 ? 4242 : getegid();
    const Descriptor listener(run_dir_listen(path, SOCK_SEQPACKET, backlog, {0660, group}));
    ASSERT_GE(listener.number(), 0);
    EXPECT_EQ(status_of(run_dir_.file("served")).st_gid, group);
    EXPECT_EQ(status_of(run_dir_.file("served")).st_mode, static_cast<mode_t>(S_IFSOCK | 0660));
    EXPECT_GE(Descriptor(run_dir_connect(path, SOCK_SEQPACKET, 0)).number(), 0);
}

TEST_F(RunDir, AGroupThatCannotBeGivenLeavesNothingBehind) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "root can give any group";
    }
    EXPECT_EQ(run_dir_listen(path, SOCK_SEQPACKET, backlog, {0660, 0}), -EPERM);
    EXPECT_FALSE(std::filesystem::exists(run_dir_.file("served")));
}

TEST_F(RunDir, TheFileIsAtNoInstantMoreOpenThanAskedFor) {
    const Umask scope(0);
    std::atomic<bool> done{false};
    std::atomic<mode_t> seen{0};
    std::atomic<int> looks{0};
    std::thread watching([&] {
        const std::string file = run_dir_.file("served");
        while (!done.load()) {
            struct stat status {};
            if (stat(file.c_str(), &status) == 0) {
                seen.fetch_or(status.st_mode & 0777);
                ++looks;
            }
        }
    });
    for (int i = 0; i < 300 || looks.load() < 300; ++i) {
        const Descriptor listener(run_dir_listen(path, SOCK_SEQPACKET, backlog, {0640, getegid()}));
        EXPECT_GE(listener.number(), 0);
        std::filesystem::remove(run_dir_.file("served"));
    }
    done.store(true);
    watching.join();
    EXPECT_EQ(seen.load() & ~static_cast<mode_t>(0640), 0U);
}

TEST(RunDirProblem, SaysWhatToDo) {
    for (const auto &[error, words] : {std::pair(-EADDRINUSE, "end that one first"),
                                       {-EEXIST, "move it away"},
                                       {-EBUSY, "lslocks"},
                                       {-ENAMETOOLONG, "take a shorter one"},
                                       {-ENOENT, "No such file or directory"}}) {
        EXPECT_NE(std::string(run_dir_listen_problem(error)).find(words), std::string::npos) << error;
    }
}

TEST_F(RunDir, AFailureCostsNoDescriptor) {
    const Descriptor lowest_before(dup(STDERR_FILENO));
    std::ofstream(run_dir_.file("served")) << "precious";
    const Descriptor lock(locked_directory());
    EXPECT_EQ(run_dir_listen(path, SOCK_SEQPACKET, backlog), -EBUSY);
    EXPECT_EQ(flock(lock.number(), LOCK_UN), 0);
    EXPECT_EQ(run_dir_listen(path, SOCK_SEQPACKET, backlog), -EEXIST);
    EXPECT_EQ(run_dir_connect("/run/nobody", SOCK_SEQPACKET, 0), -ENOENT);
    const Descriptor lowest_after(dup(STDERR_FILENO));
    EXPECT_EQ(lowest_after.number(), lock.number() + 1);
}

} // namespace
