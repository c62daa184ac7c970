// Abnormal sound, in virtual time.

#include "board/boardd/analytics/sound_detector.h"

#include "board/boardd/audio/voice.h"

#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace {

using namespace board;

class Ear : public testing::Test {
  protected:
    /* Hears so many milliseconds of what `sample(index)` makes; what is told. */
    template <typename Function>
    std::vector<std::string> hear(uint32_t ms, Function sample) {
        std::vector<std::string> told;
        for (uint32_t turn = 0; turn < ms / 20; ++turn) {
            Turn samples;
            for (int16_t &one : samples) {
                one = to_sample(static_cast<float>(sample(index_++)));
            }
            const auto text = detector_.hear(samples);
            if (text) {
                told.push_back(*text);
            }
        }
        return told;
    }

    /* Noise of this level. */
    std::vector<std::string> hear_noise(uint32_t ms, double level) {
        std::normal_distribution<double> normal(0, 32768 * std::pow(10.0, (level - 100) / 20));
        return hear(ms, [&](uint64_t) { return normal(random_); });
    }

    std::vector<std::string> hear_silence(uint32_t ms) {
        return hear(ms, [](uint64_t) { return 0; });
    }

    SoundDetector detector_;
    std::mt19937 random_{1};
    uint64_t index_ = 0;
};

TEST_F(Ear, MeasuresDecibels) {
    hear(100, [](uint64_t) { return -32768; });
    EXPECT_NEAR(detector_.level(), 100, 0.01);
    hear(100, [](uint64_t i) { return 32767 * std::sin(static_cast<double>(i) * 0.39269908); });
    EXPECT_NEAR(detector_.level(), 97, 0.05);
    hear_noise(200, 60);
    EXPECT_NEAR(detector_.level(), 60, 0.5);
    hear_silence(100);
    EXPECT_EQ(detector_.level(), 0);
}

TEST_F(Ear, TellsABurstWithItsLevel) {
    hear_noise(5000, 40);
    const auto told = hear_noise(500, 93);
    ASSERT_EQ(told.size(), 1U);
    EXPECT_EQ(told[0], "AbnormalSound level=93 threshold=90");
}

TEST_F(Ear, TellsAgainOnceASecondUntilItIsTheBackground) {
    hear_silence(2000);
    const auto told = hear_noise(20'000, 95);
    EXPECT_GE(told.size(), 3U);
    EXPECT_LE(told.size(), 8U);
    EXPECT_TRUE(hear_noise(60'000, 95).empty()) << "a noise that goes on is the background";
    hear_silence(5000);
    EXPECT_FALSE(hear_noise(200, 95).empty()) << "and news again";
}

TEST_F(Ear, AHumFromTheStartIsNoEvent) {
    EXPECT_TRUE(
        hear(30'000, [](uint64_t i) { return 32000 * std::sin(static_cast<double>(i) * 0.02); }).empty());
}

TEST_F(Ear, ObeysTheThreshold) {
    for (const int32_t threshold : {50, 70, 90}) {
        detector_.forget();
        detector_.set_threshold(threshold);
        hear_silence(2000);
        EXPECT_TRUE(hear_noise(1000, threshold - 2).empty()) << threshold;
        hear_silence(3000);
        EXPECT_FALSE(hear_noise(200, threshold + 2).empty()) << threshold;
        hear_silence(3000);
    }
}

TEST_F(Ear, ThresholdsOutOfRangeAreNeverReached) {
    for (const int32_t threshold : {-1, 0, 101}) {
        detector_.forget();
        detector_.set_threshold(threshold);
        hear_silence(1000);
        EXPECT_TRUE(hear(1000, [](uint64_t i) { return i % 2 == 0 ? 32767 : -32768; }).empty()) << threshold;
    }
}

TEST_F(Ear, TheVoiceOfTheBoardIsNotAbnormal) {
    for (uint32_t speaker = 0; speaker < 3; ++speaker) {
        const Voice voice(speaker);
        for (uint64_t turn = 0; turn < uint64_t{60} * 50; ++turn) {
            Turn samples;
            voice.speak(turn * turn_samples, samples);
            EXPECT_FALSE(detector_.hear(samples)) << "speaker " << speaker << ", turn " << turn;
        }
    }
}

} // namespace
