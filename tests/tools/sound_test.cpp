// strellctl listen, talk, ban and unban, against channels of the test's own.

#include "libboardav.h"
#include "strellctl/wav_file.h"
#include "support/channel_fixture.h"
#include "tools/ctl.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <sstream>

using ctl_test::run_ctl;
using ctl_test::run_shell;
using ctl_test::start_ctl;
using ctl_test::Words;
using support::eventually;
using support::TestChannel;

namespace {

constexpr size_t block_bytes = 1280;

std::string content(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

// ---- listen ----

class Listen : public testing::Test {
  protected:
    /* Publishes the next block of sound; all of its bytes are its number. */
    void publish() {
        AudioFrameInfo info{};
        info.seq = ++blocks_;
        info.len = block_bytes;
        std::string bytes(reinterpret_cast<const char *>(&info), sizeof info);
        bytes.resize(sizeof info + block_bytes, static_cast<char>(blocks_));
        void *buffer = shbfev_brd_alloc(channel_.brd, static_cast<uint32_t>(bytes.size()));
        if (buffer != nullptr) { // else the receiver is behind; more come
            std::memcpy(buffer, bytes.data(), bytes.size());
            shbfev_brd_broadcast(channel_.brd, buffer);
        }
    }

    /* Publishes until the file has so many bytes. */
    bool publish_until_recorded(const std::string &path, size_t bytes) {
        return eventually([&] {
            publish();
            std::error_code none;
            const auto size = std::filesystem::file_size(path, none);
            return !none && size >= bytes;
        });
    }

    support::ScratchRunDir dir_;
    TestChannel channel_{"/run/audio_in"};
    uint32_t blocks_ = 0;
};

TEST_F(Listen, RecordsSoManySecondsExactly) {
    const std::string path = dir_.file("x.wav");
    const auto ctl = start_ctl({"listen", path, "-t", "0.1"});
    ASSERT_TRUE(channel_.saw("new 1"));
    for (int i = 0; i < 3; ++i) {
        publish();
    }
    EXPECT_EQ(ctl->exit_code(), 0) << ctl->output();
    EXPECT_EQ(ctl->output(), path + ": 0.1 s\n");
    EXPECT_EQ(content(path), ctl::wav_header(3200) + std::string(block_bytes, '\x01') +
                                 std::string(block_bytes, '\x02') + std::string(640, '\x03'));
}

TEST_F(Listen, CtrlCCompletesTheFile) {
    const std::string path = dir_.file("x.wav");
    const auto ctl = start_ctl({"listen", path});
    ASSERT_TRUE(channel_.saw("new 1"));
    ASSERT_TRUE(publish_until_recorded(path, ctl::wav_header_bytes + 5 * block_bytes));
    ctl->signal(SIGINT);
    EXPECT_EQ(ctl->exit_code(), 0) << ctl->output();
    const std::string file = content(path);
    EXPECT_EQ(file.substr(0, ctl::wav_header_bytes), ctl::wav_header(file.size() - ctl::wav_header_bytes));
}

TEST_F(Listen, WhenTheDaemonEndsTheFileIsCompleteToo) {
    const std::string path = dir_.file("x.wav");
    const auto ctl = start_ctl({"listen", path});
    ASSERT_TRUE(channel_.saw("new 1"));
    ASSERT_TRUE(publish_until_recorded(path, ctl::wav_header_bytes + block_bytes));
    channel_.destroy();
    EXPECT_EQ(ctl->exit_code(), 1);
    EXPECT_TRUE(ctl->saw("strell_v2 has ended")) << ctl->output();
    const std::string file = content(path);
    EXPECT_EQ(file.substr(0, ctl::wav_header_bytes), ctl::wav_header(file.size() - ctl::wav_header_bytes));
}

TEST_F(Listen, StreamsToAPipe) {
    auto listening = std::async(
        std::launch::async, [this] { return run_shell("\"$CTL\" listen - -t 0.2 > x.wav", dir_.path()); });
    ASSERT_TRUE(publish_until_recorded(dir_.file("x.wav"), ctl::wav_header_bytes + 6400));
    const auto outcome = listening.get();
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    EXPECT_EQ(content(dir_.file("x.wav")).size(), ctl::wav_header_bytes + 6400);
}

TEST_F(Listen, AReaderThatHasHadEnoughEndsIt) {
    auto listening = std::async(std::launch::async, [this] {
        return run_shell("\"$CTL\" listen - | head -c 2000 > x.wav; echo ${PIPESTATUS[0]}", dir_.path());
    });
    EXPECT_TRUE(eventually([&] {
        publish();
        return listening.wait_for(std::chrono::milliseconds(1)) == std::future_status::ready;
    }));
    EXPECT_EQ(listening.get().output, "0\n");
}

TEST_F(Listen, WhatIsNoSoundIsRefused) {
    const auto ctl = start_ctl({"listen", dir_.file("x.wav")});
    ASSERT_TRUE(channel_.saw("new 1"));
    ASSERT_GE(channel_.publish(100, 0xff), 0);
    EXPECT_EQ(ctl->exit_code(), 1);
    EXPECT_TRUE(ctl->saw("is no sound")) << ctl->output();
}

TEST_F(Listen, SilenceOfTheChannelIsAFailure) {
    const auto outcome = run_ctl({"listen", dir_.file("x.wav")});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.output.find("no sound came for 5 s"), std::string::npos) << outcome.output;
}

TEST_F(Listen, OnlyWavIsWritten) {
    EXPECT_EQ(run_ctl({"listen", "x.mp3"}).exit_code, 2);
}

// ---- talk, ban, unban ----

class Speaker : public testing::Test {
  protected:
    /* What the first receiver has sent, message by message. */
    std::vector<std::string> messages() {
        const std::string begin = "message 1 ";
        std::vector<std::string> result;
        for (const std::string &entry : channel_.journal()) {
            if (entry.starts_with(begin)) {
                result.push_back(entry.substr(begin.size()));
            }
        }
        return result;
    }
    std::string sound() {
        std::string all;
        for (const std::string &message : messages()) {
            all += message;
        }
        return all;
    }

    /* A WAV file with sound that differs from piece to piece. */
    std::string make_wav(size_t bytes) {
        std::string path = dir_.file("x.wav");
        ctl::WavFile file(path);
        expected_.clear();
        for (size_t i = 0; i < bytes; ++i) {
            expected_.push_back(static_cast<char>(i / 7 * 31));
        }
        file.write(expected_);
        file.finish();
        return path;
    }

    /* A file that ffmpeg makes in the test's directory. */
    void make(const std::string &arguments) {
        const auto outcome = run_shell("ffmpeg -nostdin -v error " + arguments, dir_.path());
        ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
    }

    support::ScratchRunDir dir_;
    TestChannel channel_{"/run/audio_play"};
    std::string expected_;
};

TEST_F(Speaker, GetsTheSamplesOfAFileInPiecesOf40Ms) {
    const std::string path = make_wav(10 * block_bytes + 100);
    const auto outcome = run_ctl({"talk", path});
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.output, path + ": 0.4 s\n");
    EXPECT_TRUE(sound() == expected_) << "the samples as they were";
    const auto pieces = messages();
    ASSERT_EQ(pieces.size(), 11U);
    EXPECT_EQ(pieces[0].size(), block_bytes);
    EXPECT_EQ(pieces[10].size(), 100U);
}

TEST_F(Speaker, GetsOtherFormatsConverted) {
    make("-f lavfi -i sine=frequency=440:duration=0.5:sample_rate=44100 -ac 2 -c:a flac x.flac");
    const auto outcome = run_ctl({"talk", dir_.file("x.flac")});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    EXPECT_NEAR(static_cast<double>(sound().size()), 16000, 640);
    EXPECT_NE(sound().find_first_not_of('\0'), std::string::npos);
}

TEST_F(Speaker, GetsTheSoundOfAFileWithPictures) {
    make("-f lavfi -i testsrc=duration=0.5:size=64x64 -f lavfi -i sine=duration=0.5 -c:v ffv1 -c:a pcm_s16le "
         "x.mkv");
    const auto outcome = run_ctl({"talk", dir_.file("x.mkv")});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    EXPECT_NEAR(static_cast<double>(sound().size()), 16000, 640);
}

TEST_F(Speaker, GetsStandardInput) {
    make_wav(3 * block_bytes);
    const auto outcome = run_shell("cat x.wav | \"$CTL\" talk -", dir_.path());
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.output, "standard input: 0.1 s\n");
    EXPECT_TRUE(sound() == expected_);
}

TEST_F(Speaker, IsPlayedInRealTime) {
    const std::string path = make_wav(32000);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(run_ctl({"talk", path}).exit_code, 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(950)) << "never faster";
}

TEST_F(Speaker, CtrlCEndsTalking) {
    const auto ctl = start_ctl({"talk", make_wav(size_t{60} * 32000)});
    ASSERT_TRUE(eventually([&] { return !messages().empty(); }));
    ctl->signal(SIGINT);
    EXPECT_EQ(ctl->exit_code(), 0) << ctl->output();
    EXPECT_LT(sound().size(), expected_.size());
}

TEST_F(Speaker, TheEndOfTheDaemonEndsTalking) {
    const auto ctl = start_ctl({"talk", make_wav(size_t{60} * 32000)});
    ASSERT_TRUE(eventually([&] { return !messages().empty(); }));
    channel_.destroy();
    EXPECT_EQ(ctl->exit_code(), 1);
    EXPECT_TRUE(ctl->saw("strell_v2 has ended")) << ctl->output();
}

TEST_F(Speaker, FilesWithoutSoundAreFailures) {
    std::ofstream(dir_.file("text.wav")) << "no sound at all\n";
    std::ofstream(dir_.file("empty.wav")) << "";
    make("-f lavfi -i testsrc=duration=0.2:size=64x64 -c:v ffv1 silent.mkv");
    for (const char *name : {"text.wav", "empty.wav", "silent.mkv", "missing.wav", "."}) {
        const auto outcome = run_ctl({"talk", dir_.file(name)});
        EXPECT_EQ(outcome.exit_code, 1) << name << ": " << outcome.output;
        EXPECT_NE(outcome.output.find(dir_.file(name)), std::string::npos) << outcome.output;
    }
    EXPECT_EQ(sound(), "");
}

TEST_F(Speaker, IsBannedAndUnbannedByPlainWords) {
    EXPECT_EQ(run_ctl({"ban"}).exit_code, 0);
    EXPECT_TRUE(channel_.saw("message 1 SOUND_BAN"));
    EXPECT_EQ(run_ctl({"unban"}).exit_code, 0);
    EXPECT_TRUE(channel_.saw("message 2 SOUND_UNBAN"));
}

} // namespace
