// strellctl cmd, against a stand-in for the daemon on the command socket.

#include "support/socket_names.h"
#include "tools/av_server.h"
#include "tools/ctl.h"

#include <gtest/gtest.h>

using ctl_test::AvServer;
using ctl_test::run_ctl;

namespace {

std::string word(uint32_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<char>(value >> shift & 0xff));
    }
    return bytes;
}

class Cmd : public testing::Test {
  protected:
    support::OwnSocketNames names_;
};

TEST_F(Cmd, SendsACommandAndShowsItsResult) {
    AvServer server({{0x1009, {0, ""}}});
    const auto outcome = run_ctl({"cmd", "osd-on"});
    EXPECT_EQ(outcome.output, "0x100a  result 0\n");
    EXPECT_EQ(outcome.exit_code, 0);
    ASSERT_EQ(server.commands().size(), 1U);
    EXPECT_EQ(server.commands()[0].code, 0x1009U);
    EXPECT_EQ(server.commands()[0].payload, std::string(64, '\0'));
}

TEST_F(Cmd, DecodesWhatTheCommandAsksFor) {
    std::string exposure;
    std::string balance;
    for (uint32_t i = 0; i < 8; ++i) {
        exposure += i < 7 ? word(1000 * i) : "";
        balance += word(1024 + i);
    }
    AvServer server({{0x1016, {0, word(1)}}, {0x101a, {0, exposure}}, {0x101e, {3, balance}}});
    EXPECT_EQ(run_ctl({"cmd", "dnmode-get"}).output, "0x1017  result 0  night (1)\n");
    EXPECT_EQ(run_ctl({"cmd", "ev-get"}).output, "0x101b  result 0  0 1000 2000 3000 4000 5000 6000\n");
    EXPECT_EQ(run_ctl({"cmd", "wb-get"}).output,
              "0x101f  result 3  1024 1025 1026 1027 1028 1029 1030 1031\n");
    EXPECT_EQ(run_ctl({"cmd", "0x1016"}).output, "0x1017  result 0  night (1)\n") << "by code, too";
}

TEST_F(Cmd, SendsValues) {
    AvServer server({{0x1025, {0, ""}}, {0x102b, {0, ""}}});
    EXPECT_EQ(run_ctl({"cmd", "bitrate", "1", "300000"}).exit_code, 0);
    EXPECT_EQ(run_ctl({"cmd", "track", "--", "-5", "0", "0x10", "20"}).exit_code, 0);
    const auto commands = server.commands();
    ASSERT_EQ(commands.size(), 2U);
    EXPECT_EQ(commands[0].payload.substr(0, 32),
              word(1) + word(300000) + word(0) + word(100) + word(1) + word(51) + word(0) + word(0));
    EXPECT_EQ(commands[1].payload.substr(0, 16), word(0xfffffffb) + word(0) + word(16) + word(20));
}

TEST_F(Cmd, ANegativeResultIsAFailure) {
    AvServer server({{0x1025, {-1, ""}}});
    const auto outcome = run_ctl({"cmd", "bitrate", "9", "300000"});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.output.rfind("0x1026  result -1\nstrellctl: ", 0), 0U) << outcome.output;
}

TEST_F(Cmd, WaitsForNoAcknowledgementWhereNoneIsDue) {
    AvServer server;
    EXPECT_EQ(run_ctl({"cmd", "speaker-volume", "60"}).output,
              "0x1022  sent; strell_v2 does not acknowledge it\n");
    EXPECT_EQ(run_ctl({"cmd", "0x2000", "0102ff"}).exit_code, 0);
    ASSERT_TRUE(support::eventually([&] { return server.commands().size() == 2; }));
    EXPECT_EQ(server.commands()[0].payload.substr(0, 4), word(60));
    EXPECT_EQ(server.commands()[1].code, 0x2000U);
    EXPECT_EQ(server.commands()[1].payload.substr(0, 4), std::string("\x01\x02\xff\0", 4));
}

void expect_failure(AvServer::Manner manner, const std::string &text) {
    AvServer server({{0x1009, {0, ""}}}, manner);
    const auto outcome = run_ctl({"cmd", "osd-on"});
    EXPECT_EQ(outcome.exit_code, 1) << outcome.output;
    EXPECT_NE(outcome.output.find(text), std::string::npos) << outcome.output;
}

TEST_F(Cmd, SaysWhenNoAcknowledgementComes) {
    expect_failure(AvServer::Manner::is_silent, "no acknowledgement came within 2 s");
    expect_failure(AvServer::Manner::hangs_up, "strell_v2 has ended");
    expect_failure(AvServer::Manner::talks_nonsense, "something else than this version's strell_v2");
}

TEST_F(Cmd, SaysWhenNobodyIsThere) {
    const auto outcome = run_ctl({"cmd", "osd-on"});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("nobody serves the command socket: start strell_v2 (./dev run)"),
              std::string::npos)
        << outcome.output;
}

} // namespace
