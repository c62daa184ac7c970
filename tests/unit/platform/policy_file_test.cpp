// Which access file is read, and when none is.

#include "shbf/policy.h"
#include "support/scratch.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class PolicyFile : public testing::Test {
  protected:
    ~PolicyFile() override { unsetenv("STRELL_CHANNELS_CONF"); }

    std::string write(const std::string &text) {
        std::ofstream(file_) << text;
        chmod(file_.c_str(), 0644);
        setenv("STRELL_CHANNELS_CONF", file_.c_str(), 1);
        return file_;
    }
    int load() { return shbf::policy_load("/run/audio_in", &policy_, problem_, sizeof problem_); }
    void expect_closed(const std::string &words) {
        EXPECT_LT(load(), 0);
        EXPECT_TRUE(policy_.closed);
        const std::string problem(problem_);
        EXPECT_EQ(problem.rfind(file_, 0), 0U) << "names the file first: " << problem;
        EXPECT_NE(problem.find(words), std::string::npos) << problem;
    }

    support::ScratchRunDir run_dir_;
    const std::string file_ = run_dir_.file("channels.conf");
    shbf::Policy policy_{};
    char problem_[512] = "";
};

TEST_F(PolicyFile, APrivateSystemHasNoneUnlessItNamesOne) {
    write("[default]\nreceivers = 1\n");
    unsetenv("STRELL_CHANNELS_CONF");
    ASSERT_EQ(load(), 0);
    EXPECT_EQ(policy_.receivers, 32U);
    setenv("STRELL_CHANNELS_CONF", "", 1);
    ASSERT_EQ(load(), 0);
    EXPECT_EQ(policy_.receivers, 32U);
    setenv("STRELL_CHANNELS_CONF", file_.c_str(), 1);
    ASSERT_EQ(load(), 0) << problem_;
    EXPECT_EQ(policy_.receivers, 1U);
}

TEST_F(PolicyFile, AnEmptyNameMeansNoneForTheCameraToo) {
    unsetenv("STRELL_RUN_DIR");
    setenv("STRELL_CHANNELS_CONF", "", 1);
    ASSERT_EQ(load(), 0);
    EXPECT_FALSE(policy_.closed);
}

TEST_F(PolicyFile, OneThatIsNamedMustBeThere) {
    setenv("STRELL_CHANNELS_CONF", file_.c_str(), 1);
    expect_closed("cannot open it: No such file or directory");
    EXPECT_EQ(load(), -ENOENT);
}

TEST_F(PolicyFile, TheMessageNamesFileAndLine) {
    write("[default]\n\nreciever = 1\n");
    expect_closed(":3: there is no key \"reciever\"");
    write(std::string(shbf::policy_file_max + 1, '\n'));
    expect_closed(": it is larger than");
}

TEST_F(PolicyFile, WhatIsNoFileIsRefusedAtOnce) {
    std::filesystem::create_directory(file_);
    setenv("STRELL_CHANNELS_CONF", file_.c_str(), 1);
    expect_closed("no ordinary file");
    std::filesystem::remove(file_);
    ASSERT_EQ(mkfifo(file_.c_str(), 0600), 0);
    expect_closed("no ordinary file");
}

TEST_F(PolicyFile, OneThatOthersCouldHaveWrittenIsRefused) {
    write("[default]\nreceivers = 1\n");
    chmod(file_.c_str(), 0646);
    expect_closed("anybody can write it: chmod o-w");
    chmod(file_.c_str(), 0600);
    EXPECT_EQ(load(), 0) << problem_;
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give files away";
    }
    ASSERT_EQ(chown(file_.c_str(), 4242, static_cast<gid_t>(-1)), 0);
    expect_closed("belongs neither to root nor to the user of this process");
}

TEST_F(PolicyFile, OneThatCannotBeReadIsRefused) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "root reads everything";
    }
    write("[default]\n");
    chmod(file_.c_str(), 0);
    expect_closed("cannot open it: Permission denied");
}

TEST_F(PolicyFile, NamesAreThoseOfTheSystem) {
    const passwd *user = getpwuid(0);
    ASSERT_NE(user, nullptr);
    const std::string name(user->pw_name);
    const group *first = getgrgid(0);
    ASSERT_NE(first, nullptr);
    write("[default]\nusers = " + name + "\ngroups = " + first->gr_name + "\n");
    ASSERT_EQ(load(), 0) << problem_;
    EXPECT_EQ(policy_.user_count, 1U);
    EXPECT_EQ(policy_.users[0], 0U);
    EXPECT_EQ(policy_.groups[0], 0U);
    write("[default]\nusers = no_user_has_this_name\n");
    expect_closed(":2: there is no user \"no_user_has_this_name\"");
    write("[default]\ngroups = no_group_has_this_name\n");
    expect_closed(":2: there is no group \"no_group_has_this_name\"");
}

} // namespace
