// strellctl's pictures, sound and commands on a whole camera.

#include "libboardav.h"
#include "support/eventually.h"
#include "support/system.h"
#include "tools/ctl.h"
#include "tools/probe.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <set>

using ctl_test::run_ctl;
using support::System;

namespace {

std::string content(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class Camera : public testing::Test {
  protected:
    Camera() { system_.start({"--speaker", "wav"}); }

    std::string file(const std::string &name) const { return system_.dir().file(name); }

    System system_;
};

TEST_F(Camera, GivesSnapshotsOfEachKind) {
    for (const auto &[name, format] :
         {std::pair{"a.jpg", "mjpeg 640 360 1\n"}, {"r.jpg", "mjpeg 640 360 1\n"}}) {
        const auto outcome = run_ctl({"snapshot", "--kind", name[0] == 'a' ? "A" : "R", file(name)});
        EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
        EXPECT_EQ(ctl_test::probe(file(name)), format);
    }
    const auto piped =
        ctl_test::run_shell("\"$CTL\" snapshot - | head -c 2 | od -An -tx1", system_.dir().path());
    EXPECT_EQ(piped.output, " ff d8\n");
}

TEST_F(Camera, GivesRawPicturesThatShowMoreThanOneColour) {
    const auto png = run_ctl({"snapshot", "--raw", file("x.png")});
    EXPECT_EQ(png.exit_code, 0) << png.output;
    EXPECT_EQ(ctl_test::probe(file("x.png")), "png 640 384 1\n");
    const auto yuv = run_ctl({"snapshot", "--raw", file("x.yuv")});
    EXPECT_EQ(yuv.exit_code, 0) << yuv.output;
    const std::string bytes = content(file("x.yuv"));
    ASSERT_EQ(bytes.size(), 640U * 384 * 3 / 2);
    constexpr ptrdiff_t luma_bytes = ptrdiff_t{640} * 384;
    EXPECT_GT(std::set<char>(bytes.begin(), bytes.begin() + luma_bytes).size(), 10U);
}

TEST_F(Camera, ThatIsOffGivesNoneAndSaysWhy) {
    ASSERT_EQ(run_ctl({"set", "power", "off"}).exit_code, 0);
    ASSERT_TRUE(system_.daemon->saw("power_status_cb(),[off]"));
    const auto outcome = run_ctl({"snapshot", "--raw", file("x.png")});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("the camera is switched off"), std::string::npos) << outcome.output;
    EXPECT_FALSE(std::filesystem::exists(file("x.png")));
    const auto idr = run_ctl({"idr", "sub"});
    EXPECT_EQ(idr.exit_code, 1);
    EXPECT_NE(idr.output.find("the camera is switched off: strellctl set power on"), std::string::npos)
        << idr.output;
}

TEST_F(Camera, LetsItsMicrophoneBeHeard) {
    const auto outcome = run_ctl({"listen", file("x.wav"), "-t", "1"});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    const std::string wav = content(file("x.wav"));
    ASSERT_EQ(wav.size(), 44 + 32000U);
    EXPECT_NE(wav.find_first_not_of('\0', 44), std::string::npos) << "a voice";
    EXPECT_EQ(ctl_test::run_shell("ffprobe -v error -show_entries stream=codec_name,sample_rate,channels -of "
                                  "csv=p=0 x.wav",
                                  system_.dir().path())
                  .output,
              "pcm_s16le,16000,1\n");
}

TEST_F(Camera, KeepsItsSpeakerQuietWhileItIsBanned) {
    const std::string beep = "ffmpeg -v error -f lavfi -i sine=duration=0.4:sample_rate=16000 beep.wav";
    ASSERT_EQ(ctl_test::run_shell(beep, system_.dir().path()).exit_code, 0);
    const std::string heard = file("boardd_speaker.wav");
    ASSERT_EQ(run_ctl({"ban"}).exit_code, 0);
    ASSERT_TRUE(system_.daemon->saw("recv disable speaker cmd"));
    ASSERT_EQ(run_ctl({"talk", file("beep.wav")}, support::Leaks::not_sought).exit_code, 0);
    ASSERT_TRUE(system_.daemon->saw("###enable_aec###"));
    EXPECT_FALSE(std::filesystem::exists(heard)) << "the first sound makes the file";
    ASSERT_EQ(run_ctl({"unban"}).exit_code, 0);
    ASSERT_TRUE(system_.daemon->saw("enable speaker, dn_mode"));
    ASSERT_EQ(run_ctl({"talk", file("beep.wav")}, support::Leaks::not_sought).exit_code, 0);
    EXPECT_TRUE(support::eventually(
        [&] { return std::filesystem::exists(heard) && std::filesystem::file_size(heard) >= 44 + 12800; }));
}

TEST_F(Camera, ObeysCommandsAndTellsWhatTheyResultIn) {
    ASSERT_TRUE(system_.hold_day()) << system_.daemon->output();
    EXPECT_EQ(run_ctl({"cmd", "dnmode-get"}).output, "0x1017  result 0  day (0)\n");
    EXPECT_EQ(run_ctl({"cmd", "dnmode-set", "night"}).output, "0x1019  result 0\n");
    EXPECT_TRUE(support::eventually([] {
        return run_ctl({"cmd", "dnmode-get"}).output == "0x1017  result 0  night (1)\n";
    }));
    EXPECT_EQ(run_ctl({"cmd", "wb-set", "1", "2048", "1024", "512"}).output, "0x1021  result 0\n");
    EXPECT_EQ(run_ctl({"cmd", "wb-get"}).output, "0x101f  result 0  1 2048 1024 512 0 0 0 0\n");
    EXPECT_EQ(run_ctl({"cmd", "0x101e"}).output, "0x101f  result 0  1 2048 1024 512 0 0 0 0\n");
    const auto ev = run_ctl({"cmd", "ev-get"});
    EXPECT_TRUE(ev.output.ends_with(" 110 50 1 0\n"))
        << ev.output << "the board's aim, mains, night, no flags";
    const auto out_of_range = run_ctl({"cmd", "bitrate", "4", "300000"});
    EXPECT_EQ(out_of_range.exit_code, 1);
    EXPECT_EQ(out_of_range.output.rfind("0x1026  result -1\nstrellctl: ", 0), 0U) << out_of_range.output;
    const auto refused = run_ctl({"cmd", "ir-lamp", "2"});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_EQ(refused.output.rfind("0x1028  result -22\n", 0), 0U) << refused.output;
    EXPECT_EQ(run_ctl({"cmd", "0x2000", "ff00"}).output, "0x2000  sent; strell_v2 does not acknowledge it\n");
}

TEST_F(Camera, ThatStandsStillHoldsUpNoCommandForEver) {
    system_.daemon->signal(SIGSTOP);
    const auto outcome = run_ctl({"cmd", "osd-on"});
    system_.daemon->signal(SIGCONT);
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("no acknowledgement came within 2 s"), std::string::npos) << outcome.output;
    EXPECT_EQ(run_ctl({"cmd", "osd-on"}).exit_code, 0);
}

TEST_F(Camera, ThatBringsNoFramesIsLookedInto) {
    ASSERT_EQ(support::run({support::program("boardctl"), "stall", "0"}).exit_code, 0);
    const auto stalled = run_ctl({"idr", "main"});
    EXPECT_EQ(stalled.exit_code, 1);
    EXPECT_NE(stalled.output.find("the board is told to fail"), std::string::npos) << stalled.output;
    EXPECT_NE(stalled.output.find("boardctl clear"), std::string::npos) << stalled.output;
    EXPECT_EQ(run_ctl({"idr", "sub"}).exit_code, 0);
    ASSERT_EQ(support::run({support::program("boardctl"), "clear"}).exit_code, 0);
    EXPECT_EQ(run_ctl({"idr", "main"}).exit_code, 0);
}

} // namespace
