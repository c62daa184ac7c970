// The speaker as a file, and the WAV format.

#include "board/boardd/audio/loudspeaker.h"

#include "board/boardd/audio/wav_file.h"
#include "support/scratch.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

namespace {

using namespace board;

std::string bytes_of(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

uint32_t word_at(const std::string &bytes, size_t offset) {
    uint32_t word = 0;
    std::memcpy(&word, bytes.data() + offset, sizeof word);
    return word;
}

Turn turn_of(int16_t value) {
    Turn turn;
    turn.fill(value);
    return turn;
}

class WavLoudspeaker : public testing::Test {
  protected:
    void play(int16_t value, size_t turns, bool sounding = true) {
        for (size_t i = 0; i < turns; ++i) {
            speaker_->play(turn_of(value), sounding);
        }
    }

    size_t turns_in(const std::string &name) {
        return (std::filesystem::file_size(run_dir_.file(name)) - wav_header_bytes) / sizeof(Turn);
    }

    support::ScratchRunDir run_dir_;
    std::unique_ptr<Loudspeaker> speaker_ = make_loudspeaker(nullptr, "wav");
};

TEST(WavFile, HasTheHeaderThatPlayersExpectAtEveryMoment) {
    const support::ScratchRunDir directory;
    WavFile file(directory.file("a.wav"));
    EXPECT_EQ(
        bytes_of(directory.file("a.wav")),
        std::string("RIFF\x24\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x80\x3e\0\0\0\x7d\0\0\2\0\x10\0data\0\0\0\0",
                    44));
    const int16_t samples[] = {1, -2, 300};
    ASSERT_TRUE(file.append(samples));
    ASSERT_TRUE(file.append(samples));
    const std::string bytes = bytes_of(directory.file("a.wav"));
    EXPECT_EQ(bytes.size(), wav_header_bytes + 12U);
    EXPECT_EQ(word_at(bytes, 4), 36U + 12U);
    EXPECT_EQ(word_at(bytes, 40), 12U);
    EXPECT_EQ(bytes.substr(44, 6), std::string("\1\0\xfe\xff\x2c\1", 6));
}

TEST(WavFile, SaysWhyItCannotBeMade) {
    const support::ScratchRunDir directory;
    try {
        WavFile file(directory.file("no/such/a.wav"));
        FAIL();
    } catch (const std::runtime_error &error) {
        EXPECT_NE(std::string(error.what()).find("No such file"), std::string::npos) << error.what();
    }
}

TEST_F(WavLoudspeaker, MakesNoFileWithoutASound) {
    speaker_->start();
    play(0, 100, false);
    EXPECT_TRUE(std::filesystem::is_empty(run_dir_.path()));
}

TEST_F(WavLoudspeaker, KeepsPausesButNotTheTimeBetweenSounds) {
    speaker_->start();
    play(0, 100, false);
    play(7, 2);
    play(0, 10, false);
    play(8, 1);
    play(0, 1000, false);
    play(9, 1);
    EXPECT_EQ(turns_in("boardd_speaker.wav"), 2 + 10 + 1 + speaker_wav_silent_turns + 1);
}

TEST_F(WavLoudspeaker, IsBounded) {
    const size_t most = speaker_wav_max_bytes / sizeof(Turn);
    play(1, most);
    EXPECT_EQ(turns_in("boardd_speaker.wav"), most);
    EXPECT_FALSE(std::filesystem::exists(run_dir_.file("boardd_speaker.1.wav")));
    play(2, 1);
    EXPECT_EQ(turns_in("boardd_speaker.wav"), 1U);
    EXPECT_EQ(turns_in("boardd_speaker.1.wav"), most);
    EXPECT_EQ(bytes_of(run_dir_.file("boardd_speaker.wav"))[wav_header_bytes], 2);
}

TEST_F(WavLoudspeaker, WhatAnEarlierOneLeftGoes) {
    play(1, 1);
    speaker_ = make_loudspeaker(nullptr, "wav");
    EXPECT_TRUE(std::filesystem::is_empty(run_dir_.path()));
}

TEST_F(WavLoudspeaker, ADirectoryThatGoesAwayIsReportedAndNoDisaster) {
    std::filesystem::remove(run_dir_.path());
    play(1, 3);
    EXPECT_NE(speaker_->error().find("cannot write"), std::string::npos);
    std::filesystem::create_directory(run_dir_.path());
    play(1, 1);
    EXPECT_EQ(speaker_->error(), "");
    EXPECT_EQ(turns_in("boardd_speaker.wav"), 1U);
}

TEST(Loudspeaker, NoneIsSilent) {
    const support::ScratchRunDir directory;
    const std::unique_ptr<Loudspeaker> speaker = make_loudspeaker(nullptr, "none");
    speaker->play(turn_of(1), true);
    EXPECT_EQ(speaker->error(), "");
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

} // namespace
