// strellctl snapshot, against a channel of the test's own.

#include "libboardav.h"
#include "support/channel_fixture.h"
#include "support/settings_store.h"
#include "support/system.h"
#include "tools/ctl.h"
#include "tools/probe.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

using ctl_test::run_ctl;
using ctl_test::start_ctl;
using ctl_test::Words;
using support::TestChannel;

namespace {

constexpr const char *jpeg_path = "/run/jpeg_snap";
constexpr const char *raw_path = "/run/video_rawstream";
constexpr size_t raw_bytes = 640 * 384 * 3 / 2;

std::string content(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

/* A reply as the daemon sends it: a header area that begins with the board's record. */
template <typename Info>
std::string reply(const std::string &payload, size_t header_bytes) {
    Info info{};
    info.len = static_cast<uint32_t>(payload.size());
    std::string bytes(header_bytes, '\0');
    std::memcpy(bytes.data(), &info, sizeof info);
    return bytes + payload;
}

std::string jpeg_reply(const std::string &jpeg) {
    return reply<VideoFrameInfo>(jpeg, 32);
}

std::string raw_reply(const std::string &picture) {
    return reply<RawFrameInfo>(picture, 64);
}

class Snapshot : public testing::Test {
  protected:
    /* Runs "strellctl snapshot WORDS" to its end, and answers its request. */
    support::Outcome snapshot(TestChannel *channel, const Words &words, const std::string &request,
                              const std::string &reply) {
        Words all = {"snapshot"};
        all.insert(all.end(), words.begin(), words.end());
        const auto ctl = start_ctl(all);
        ++asked_;
        const std::string receiver = std::to_string(asked_);
        const bool saw_request = channel->saw("message " + receiver + " " + request);
        EXPECT_TRUE(saw_request) << ctl->output();
        if (saw_request) {
            send(channel, reply);
        }
        return {ctl->exit_code(), ctl->output()};
    }

    void send(TestChannel *channel, const std::string &reply) const {
        void *buffer = shbfev_brd_alloc(channel->brd, static_cast<uint32_t>(reply.size()));
        ASSERT_NE(buffer, nullptr);
        std::memcpy(buffer, reply.data(), reply.size());
        shbf_set_size(buffer, static_cast<uint32_t>(reply.size()));
        const int32_t result =
            channel->loop.call([&] { return shbfev_brd_send(channel->brd, asked_, buffer); });
        shbf_free(buffer);
        EXPECT_GE(result, 0);
    }

    support::ScratchRunDir dir_;
    int32_t asked_ = 0;
};

TEST_F(Snapshot, WritesTheJpegAsItCame) {
    TestChannel channel(jpeg_path);
    const std::string jpeg = std::string("\xff\xd8\0 picture \xff\xd9", 14);
    const auto outcome = snapshot(&channel, {dir_.file("a.jpg")}, "REQ_SNAPSHOT_A", jpeg_reply(jpeg));
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.output, dir_.file("a.jpg") + ": 14 B\n");
    EXPECT_EQ(content(dir_.file("a.jpg")), jpeg);
    const auto other = snapshot(&channel, {"--kind", "R", dir_.file("r.jpeg")}, "REQ_SNAPSHOT_R",
                                jpeg_reply("\xff\xd8 other"));
    EXPECT_EQ(other.exit_code, 0) << other.output;
    EXPECT_EQ(content(dir_.file("r.jpeg")), "\xff\xd8 other");
}

TEST_F(Snapshot, WritesRawPicturesByTheEnding) {
    TestChannel channel(raw_path);
    const std::string raw(raw_bytes, '\x60');
    for (const auto &[name, codec] :
         std::map<std::string, std::string>{{"x.png", "png"}, {"x.jpg", "mjpeg"}, {"x.y4m", "rawvideo"}}) {
        const auto outcome = snapshot(&channel, {"--raw", dir_.file(name)}, "REQ_RAW", raw_reply(raw));
        EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
        EXPECT_EQ(ctl_test::probe(dir_.file(name)), codec + " 640 384 1\n");
    }
    const auto plain = snapshot(&channel, {"--raw", dir_.file("x.yuv")}, "REQ_RAW", raw_reply(raw));
    EXPECT_EQ(plain.exit_code, 0) << plain.output;
    EXPECT_EQ(content(dir_.file("x.yuv")), raw);
}

TEST_F(Snapshot, AnEmptyReplyIsAnErrorThatSaysSo) {
    TestChannel jpeg(jpeg_path);
    const auto outcome = snapshot(&jpeg, {dir_.file("a.jpg")}, "REQ_SNAPSHOT_A", jpeg_reply(""));
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("the reply is empty"), std::string::npos) << outcome.output;
    EXPECT_EQ(ctl_test::run_shell("ls *.jpg", dir_.path()).exit_code, 2) << "no file is made";
}

TEST_F(Snapshot, AnEmptyRawReplyToo) {
    TestChannel raw(raw_path);
    const auto outcome = snapshot(&raw, {"--raw", dir_.file("a.png")}, "REQ_RAW", raw_reply(""));
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("the reply is empty"), std::string::npos) << outcome.output;
}

TEST_F(Snapshot, WhatIsNoPictureIsRefused) {
    TestChannel channel(jpeg_path);
    const auto outcome = snapshot(&channel, {dir_.file("a.jpg")}, "REQ_SNAPSHOT_A", "no picture");
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("is no picture"), std::string::npos) << outcome.output;
}

TEST_F(Snapshot, WithoutAnAnswerNamesTheCauses) {
    TestChannel channel(jpeg_path);
    const auto outcome = run_ctl({"snapshot", dir_.file("a.jpg")});
    EXPECT_EQ(outcome.exit_code, 1);
    for (const char *text : {"no picture came within 5 s", "power", "hot_status"}) {
        EXPECT_NE(outcome.output.find(text), std::string::npos) << outcome.output;
    }
}

TEST_F(Snapshot, WithoutAnAnswerLooksIntoTheStore) {
    support::SettingsStore store(dir_);
    store.start();
    TestChannel channel(jpeg_path);
    ASSERT_TRUE(support::System::set("hot_status", "changing", "mem"));
    const auto changing = run_ctl({"snapshot", dir_.file("a.jpg")});
    EXPECT_NE(changing.output.find("profile is being changed: try again"), std::string::npos)
        << changing.output;
    ASSERT_TRUE(support::System::set("power", "off"));
    const auto off = run_ctl({"snapshot", dir_.file("a.jpg")});
    EXPECT_EQ(off.exit_code, 1);
    EXPECT_NE(off.output.find("the camera is switched off: strellctl set power on"), std::string::npos)
        << off.output;
}

TEST_F(Snapshot, NoticesThatTheDaemonEnds) {
    TestChannel channel(jpeg_path);
    const auto ctl = start_ctl({"snapshot", dir_.file("a.jpg")});
    EXPECT_TRUE(channel.saw("message 1 REQ_SNAPSHOT_A"));
    channel.destroy();
    EXPECT_EQ(ctl->exit_code(), 1);
    EXPECT_TRUE(ctl->saw("strell_v2 has ended"));
}

TEST_F(Snapshot, WrongUsageIsExitStatus2) {
    for (const Words &words : {Words{"snapshot"},
                               {"snapshot", "a.gif"},
                               {"snapshot", "a.png"},
                               {"snapshot", "--kind", "B", "a.jpg"},
                               {"snapshot", "--raw", "--kind", "A", "a.png"}}) {
        EXPECT_EQ(run_ctl(words).exit_code, 2) << words.back();
    }
}

} // namespace
