// The example that plays a prompt, on a real board whose speaker is a file.

#include "examples/example.h"
#include "support/board_process.h"
#include "support/scratch.h"

#include <gtest/gtest.h>
#include <unistd.h>

using example_test::content;
using example_test::has;
using example_test::run_example;

namespace {

class PromptSoundExample : public testing::Test {
  protected:
    PromptSoundExample() : name_("strell-example-" + std::to_string(getpid()) + ".pcm") {}
    ~PromptSoundExample() override { unlink(("/tmp/" + name_).c_str()); }

    support::ScratchRunDir dir_;
    std::string name_;
};

/* A second of sound without a sample that is 0. */
std::string sound() {
    std::string bytes;
    for (int i = 0; i < 16000; ++i) {
        bytes += static_cast<char>(i * 7 % 251 + 1);
        bytes += static_cast<char>(i % 32);
    }
    return bytes;
}

/* A recording without its silence: on a busy machine the speaker may run dry between two pieces. */
std::string without_silence(const std::string &bytes) {
    std::string rest;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
        if (bytes[i] != 0 || bytes[i + 1] != 0) {
            rest += bytes.substr(i, 2);
        }
    }
    return rest;
}

TEST_F(PromptSoundExample, IsHeardWholeOnTheSpeaker) {
    std::ofstream("/tmp/" + name_) << sound();
    const support::BoardProcess board({"--speaker", "wav"});
    const auto outcome = run_example("prompt_sound", {"sounds/" + name_});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    EXPECT_TRUE(has(outcome.output, "playing audio file: [/tmp/" + name_ + "]")) << outcome.output;
    EXPECT_TRUE(has(outcome.output, "###enable_aec###")) << outcome.output;
    constexpr size_t wav_header_bytes = 44;
    const auto heard = [&] {
        const std::string wav = content(dir_.file("boardd_speaker.wav"));
        return without_silence(wav.substr(std::min(wav.size(), wav_header_bytes)));
    };
    EXPECT_TRUE(support::eventually([&] { return heard() == sound(); }))
        << heard().size() << " of " << sound().size() << " bytes were heard";
}

TEST_F(PromptSoundExample, SaysWhatIsWrong) {
    auto outcome = run_example("prompt_sound", {name_});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_TRUE(has(outcome.output, "no board: start boardd")) << outcome.output;
    const support::BoardProcess board({"--speaker", "none"});
    outcome = run_example("prompt_sound", {name_});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_TRUE(has(outcome.output, "[audio_player] Open /tmp/" + name_ + " failed: No such file"))
        << outcome.output;
    EXPECT_EQ(run_example("prompt_sound").exit_code, 2);
}

} // namespace
