// Processes of tests: started, watched, and never left behind.

#include "support/process.h"

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using support::eventually;
using support::Process;

/* Gone, or dead and waiting for somebody to ask. */
bool has_ended(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    std::getline(file, text);
    const size_t name_end = text.rfind(')');
    return name_end == std::string::npos || text.substr(name_end, 3) == ") Z";
}

TEST(TestProcess, BringsOutputAndExitCode) {
    const auto outcome = support::run({"sh", "-c", "echo $WORD; echo error >&2; exit 7"}, {{"WORD", "good"}});
    EXPECT_EQ(outcome.exit_code, 7);
    EXPECT_EQ(outcome.output, "good\nerror\n");
}

TEST(TestProcess, WhatDoesNotExistCannotBeStarted) {
    EXPECT_THROW(Process({"/nowhere/to/be/found"}), std::runtime_error);
}

TEST(TestProcess, ReadsNothingAndInheritsNothing) {
    const int kept = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const auto outcome =
        support::run({"sh", "-c", "cat; test -e /proc/self/fd/" + std::to_string(kept) + " && echo there"});
    EXPECT_EQ(outcome.output, "");
    close(kept);
}

TEST(TestProcess, EndsWithItsObject) {
    pid_t pid = 0;
    {
        const Process process({"sleep", "1000"});
        pid = process.pid();
        EXPECT_FALSE(has_ended(pid));
    }
    EXPECT_TRUE(has_ended(pid));
}

TEST(TestProcess, EndsWithAKilledTest) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t test = fork();
    if (test == 0) {
        const Process process({"sleep", "1000"});
        const pid_t pid = process.pid();
        [[maybe_unused]] const ssize_t written = write(ends[1], &pid, sizeof pid);
        for (;;) {
            pause();
        }
    }
    pid_t pid = 0;
    ASSERT_EQ(read(ends[0], &pid, sizeof pid), static_cast<ssize_t>(sizeof pid));
    EXPECT_FALSE(has_ended(pid));
    kill(test, SIGKILL);
    waitpid(test, nullptr, 0);
    EXPECT_TRUE(eventually([&] { return has_ended(pid); }));
    kill(pid, SIGKILL);
    close(ends[0]);
    close(ends[1]);
}

} // namespace
