// The example that transmits one file and records another.

#include "examples/example.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

using example_test::content;
using example_test::has;
using example_test::run_example;

namespace {

class AudioFileExample : public testing::Test {
  protected:
    std::string file(const std::string &name) const { return dir_.file(name); }

    support::ScratchRunDir dir_;
};

TEST_F(AudioFileExample, TransmitsPcmAsALawAndRecordsIt) {
    // 700 bytes of silence, then 640 of the loudest sample there is: the rest of a chunk is not played.
    std::string pcm(640, '\0');
    for (int i = 0; i < 320; ++i) {
        pcm += "\xff\x7f";
    }
    std::ofstream(file("voice.pcm")) << pcm + std::string(60, '\0');
    const auto outcome = run_example("audio_file", {file("voice.pcm"), file("received"), "3"});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    EXPECT_TRUE(has(outcome.output, "block 2: 320 bytes\n")) << outcome.output;
    EXPECT_TRUE(has(outcome.output, "3 blocks, 960 bytes of A-law")) << outcome.output;
    EXPECT_EQ(content(file("received")),
              std::string(320, '\xd5') + std::string(320, '\xaa') + std::string(320, '\xd5'));
}

TEST_F(AudioFileExample, PassesALawThroughBehindWhatWasRecordedBefore) {
    const std::string sound = std::string(640, 'a') + std::string(640, 'b');
    std::ofstream(file("voice.g711a")) << sound;
    std::ofstream(file("received")) << "before";
    const auto outcome = run_example("audio_file", {file("voice.g711a"), file("received"), "2"});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    EXPECT_EQ(content(file("received")), "before" + sound);
}

TEST_F(AudioFileExample, SaysWhatIsWrong) {
    auto outcome = run_example("audio_file", {file("none.pcm"), file("received")});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_TRUE(has(outcome.output, "open " + file("none.pcm") + " failed")) << outcome.output;
    std::ofstream(file("voice.pcm")) << "sound";
    outcome = run_example("audio_file", {file("voice.pcm"), file("none/received")});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_TRUE(has(outcome.output, "fopen rx file failed")) << outcome.output;
    EXPECT_EQ(run_example("audio_file").exit_code, 2);
    EXPECT_EQ(run_example("audio_file", {"a", "b", "none"}).exit_code, 2);
}

} // namespace
