// strellctl access, against channels of the test's own, and what it says of channels in every state.

#include "strellctl/access_report.h"
#include "support/channel_fixture.h"
#include "support/socket_names.h"
#include "tools/ctl.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <unistd.h>
#include <vector>

using ctl_test::Json;
using ctl_test::run_ctl;
using support::TestChannel;

namespace {

constexpr const char *all_paths[] = {"/run/video_mainstream", "/run/video_substream", "/run/video_rawstream",
                                     "/run/jpeg_snap",        "/run/audio_in",        "/run/audio_play",
                                     "/run/md_event",         "/run/lsd_event"};

class AccessCommand : public testing::Test {
  protected:
    ~AccessCommand() override { unsetenv("STRELL_CHANNELS_CONF"); }

    void conf(const std::string &text) {
        std::ofstream(dir_.file("channels.conf")) << text;
        setenv("STRELL_CHANNELS_CONF", dir_.file("channels.conf").c_str(), 1);
    }
    void serve() {
        for (const char *path : all_paths) {
            channels_.push_back(std::make_unique<TestChannel>(path));
        }
    }

    support::ScratchRunDir dir_;
    std::vector<std::unique_ptr<TestChannel>> channels_;
};

TEST_F(AccessCommand, ShowsRulesAndWhoIsAttached) {
    const std::string me = std::to_string(geteuid());
    conf("[default]\nmode = 0640\n[/run/audio_in]\nusers = " + me +
         ", 4242\nreceivers = 8\n"
         "receivers_per_user = 2\nmessage_bytes = 64\nmessages_per_second = 9\nhandshake_ms = 1500\n");
    serve();
    shbf_rcv_t *receiver = shbf_rcv_open("/run/audio_in", nullptr);
    ASSERT_NE(receiver, nullptr);
    const auto people = run_ctl({"access"});
    EXPECT_EQ(people.exit_code, 0) << people.output;
    EXPECT_NE(people.output.find("; messages of 64 bytes, 9 a second; 1500 ms to say Hello\n"
                                 "    attached  process " +
                                 std::to_string(getpid()) + " of user "),
              std::string::npos)
        << people.output;
    EXPECT_NE(people.output.find("    socket    0640, group "), std::string::npos) << people.output;
    EXPECT_NE(people.output.find("    limits    8 receivers, 2 for one user; "), std::string::npos);
    EXPECT_NE(
        people.output.find("    may       everybody who can open the socket\n"
                           "    limits    32 receivers; messages of 65536 bytes; 2000 ms to say Hello\n"),
        std::string::npos)
        << people.output;

    const auto programs = run_ctl({"access", "--json"});
    EXPECT_EQ(programs.exit_code, 0);
    const Json json(programs.output);
    EXPECT_EQ(json.text("/run/audio_in.mode"), "0640");
    EXPECT_EQ(json.number("/run/audio_in.receivers"), 8);
    EXPECT_EQ(json.number("/run/video_mainstream.receivers"), 32);
    EXPECT_NE(programs.output.find("\"pid\":" + std::to_string(getpid()) + ",\"uid\":" + me),
              std::string::npos)
        << programs.output;
    EXPECT_NE(programs.output.find("\"users\":[" + me + ",4242]"), std::string::npos) << programs.output;
    shbf_rcv_close(receiver);
}

TEST_F(AccessCommand, SaysWhyAChannelDoesNotAnswer) {
    conf("[/run/audio_play]\nusers = " + std::to_string(geteuid() + 1) + "\n");
    serve();
    const auto refused = run_ctl({"access"});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_NE(refused.output.find(
                  "/run/audio_play\n    cannot attach to /run/audio_play: this user may not attach"),
              std::string::npos)
        << refused.output;
    channels_.clear();
    const auto absent = run_ctl({"access", "--json"});
    EXPECT_EQ(absent.exit_code, 1);
    EXPECT_NE(absent.output.find("strellctl: nobody serves /run/video_mainstream"), std::string::npos)
        << absent.output;
}

TEST_F(AccessCommand, OtherCommandsNameTheReasonToo) {
    conf("[default]\nusers = " + std::to_string(geteuid() + 1) + "\n");
    serve();
    const auto refused = run_ctl({"events", "-t", "1"});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_NE(refused.output.find("cannot attach to the channel of motion events: this user may not attach"),
              std::string::npos)
        << refused.output;
    EXPECT_NE(run_ctl({"status"}).output.find("main   closed to this user\n"), std::string::npos);
    channels_.clear();
    conf("[default]\nbogus = 1\n");
    serve();
    const auto closed = run_ctl({"events", "-t", "1"});
    EXPECT_EQ(closed.exit_code, 1);
    EXPECT_NE(closed.output.find("it is closed to everybody"), std::string::npos) << closed.output;
}

TEST(AccessReport, NamesAndNumbers) {
    ctl::ChannelAccess channel;
    channel.path = "/run/x";
    channel.access = shbf_access_t{};
    channel.access->mode = 0660;
    channel.access->group = 4123123;
    channel.access->group_count = 2;
    channel.access->groups[0] = 4123123;
    channel.access->groups[1] = 4123124;
    channel.access->receivers = 1;
    channel.access->receivers_per_user = 1;
    channel.access->message_bytes = 5;
    channel.access->handshake_ms = 10;
    channel.access->attached_count = 2;
    channel.access->attached[0] = {7, 100, 4123123};
    channel.access->attached[1] = {3, 0, 4123124};
    EXPECT_EQ(ctl::access_text({channel}),
              "/run/x\n"
              "    socket    0660, group 4123123\n"
              "    may       groups 4123123, 4123124\n"
              "    limits    1 receiver; messages of 5 bytes; 10 ms to say Hello\n"
              "    attached  process 100 of user 4123123\n"
              "              process 0 of user 4123124\n");
    EXPECT_EQ(ctl::access_trouble({channel}), "");
    const ctl::ChannelAccess other = {"/run/y", std::nullopt, "trouble"};
    EXPECT_EQ(ctl::access_text({other}), "/run/y\n    trouble\n");
    EXPECT_EQ(ctl::access_trouble({channel, other}), "trouble");
}

} // namespace
