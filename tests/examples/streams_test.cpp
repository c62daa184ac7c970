// The examples about streams: raw frames on a board of their own, a dump beside a whole camera.

#include "examples/example.h"
#include "support/board_process.h"
#include "support/system.h"

#include <filesystem>
#include <gtest/gtest.h>

using example_test::has;
using example_test::run_example;

namespace {

TEST(RawStreamExample, CountsTheFramesThatTheThreadPublishes) {
    const support::ScratchRunDir dir;
    const support::BoardProcess board;
    const auto outcome = run_example("raw_stream", {"5"});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    EXPECT_TRUE(has(outcome.output, "frame 5: 640 x 384, 368640 bytes, number ")) << outcome.output;
    EXPECT_TRUE(has(outcome.output, "5 frames came")) << outcome.output;
    EXPECT_TRUE(has(outcome.output, "info FrameInfo is {640, 384, 0, ")) << outcome.output;
}

TEST(RawStreamExample, SaysWhatIsWrong) {
    const support::ScratchRunDir dir;
    const auto outcome = run_example("raw_stream");
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_TRUE(has(outcome.output, "no board: start boardd")) << outcome.output;
    EXPECT_EQ(run_example("raw_stream", {"none"}).exit_code, 2);
}

TEST(StreamDumpExample, SaysWhatIsWrong) {
    const support::ScratchRunDir dir;
    const auto outcome = run_example("stream_dump");
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_TRUE(has(outcome.output, "no main stream: start strell_v2")) << outcome.output;
    EXPECT_EQ(run_example("stream_dump", {"0"}).exit_code, 2);
}

TEST(StreamDumpExample, WithoutACardSaysSo) {
    if (std::filesystem::exists("/mnt/sdcard")) {
        GTEST_SKIP() << "this machine has a card";
    }
    support::System system;
    system.start();
    const auto outcome = run_example("stream_dump", {"3"});
    EXPECT_EQ(outcome.exit_code, 1) << outcome.output;
    EXPECT_TRUE(has(outcome.output, "error failed: No such file or directory")) << outcome.output;
    EXPECT_TRUE(has(outcome.output, "examples/README.md")) << outcome.output;
}

/* As the example's own comment says it is to be done. */
support::Outcome run_with_card(const std::string &directory, const std::string &command) {
    return support::run(
        {"unshare", "-rm", "sh", "-c", "mount --bind \"$0\" /mnt && exec " + command, directory}, {},
        example_test::patience);
}

TEST(StreamDumpExample, WritesAStreamThatDecodes) {
    support::System system;
    const std::string card = system.dir().file("card");
    std::filesystem::create_directories(card + "/sdcard");
    if (run_with_card(card, "true").exit_code != 0) {
        GTEST_SKIP() << "mounting is not allowed here";
    }
    system.start();
    const auto outcome = run_with_card(card, support::program("example_stream_dump") + " 20");
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    EXPECT_TRUE(has(outcome.output, "20 frames in /mnt/sdcard/stream-0.h265")) << outcome.output;
    const auto probe = support::run({"ffprobe", "-v", "error", "-f", "hevc", "-count_frames", "-show_entries",
                                     "stream=codec_name,width,height,nb_read_frames", "-of", "csv=p=0",
                                     card + "/sdcard/stream-0.h265"});
    EXPECT_EQ(probe.output, "hevc,640,360,20\n");
}

} // namespace
