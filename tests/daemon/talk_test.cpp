// Talk-back from end to end: a file is played with strellctl, and what the camera's speaker lets hear is
// compared with it.

#include "daemon/av_client.h"
#include "daemon/sound.h"
#include "support/system.h"
#include "tools/ctl.h"

#include <cmath>
#include <gtest/gtest.h>
#include <string>

using ctl_test::run_ctl;
using daemon_test::camera_rate_hz;
using daemon_test::chord;
using daemon_test::heard;
using daemon_test::Samples;
using support::eventually;
using support::System;

namespace {

/* What the last turn of 20 ms may have behind the end of the sound. */
constexpr size_t turn_samples = camera_rate_hz / 50;

class Talk : public testing::Test {
  protected:
    Talk() { system_.start({"--speaker", "wav"}); }

    /* Plays the file, and waits until the speaker has let hear so many samples; what it has. */
    Samples played(const Samples &samples, uint32_t rate_hz, uint16_t channels, size_t wanted) {
        const std::string path = system_.dir().file("said.wav");
        daemon_test::write_wav(path, samples, rate_hz, channels);
        const auto talk = run_ctl({"talk", path}, support::Leaks::not_sought);
        EXPECT_EQ(talk.exit_code, 0) << talk.output;
        Samples result;
        EXPECT_TRUE(eventually([&] {
            result = heard(system_.dir().file("boardd_speaker.wav"));
            return result.size() >= wanted;
        })) << result.size()
            << " of " << wanted;
        return result;
    }

    System system_;
};

/* Silence behind the end that makes up a whole turn. */
Samples with_the_turn_filled(Samples samples) {
    samples.resize((samples.size() + turn_samples - 1) / turn_samples * turn_samples, 0);
    return samples;
}

TEST_F(Talk, AtFullVolumeEverySampleArrives) {
    const Samples said = daemon_test::loud_noise(2 * camera_rate_hz + 77, 1);
    const Samples sound = played(said, camera_rate_hz, 1, said.size());
    EXPECT_TRUE(sound == with_the_turn_filled(said)) << sound.size() << " samples of " << said.size();
    RecordProperty("samples", static_cast<int>(sound.size()));
}

TEST_F(Talk, TheTalkingVolumeScalesEverySample) {
    const daemon_test::AvClient client;
    ASSERT_TRUE(client.send(0x1023, {}));
    ASSERT_EQ(client.call(0x1029).code, 0x102aU);
    const Samples said = daemon_test::loud_noise(camera_rate_hz, 2);
    const Samples sound = played(said, camera_rate_hz, 1, said.size());
    ASSERT_EQ(sound.size(), with_the_turn_filled(said).size());
    const double scale = std::pow(10, -4.0 / 20); // 10 steps of 0.4 dB below the loudest
    for (size_t i = 0; i < said.size(); ++i) {
        ASSERT_NEAR(sound[i], scale * said[i], 1.0) << "sample " << i;
    }
}

/* So long a sound, and in the middle of it these tones at this level, and hardly anything else. */
void expect_tones(const Samples &sound, double seconds, const std::vector<double> &tones_hz,
                  double amplitude) {
    EXPECT_NEAR(static_cast<double>(sound.size()), seconds * camera_rate_hz, 2 * turn_samples);
    const daemon_test::Spectrum spectrum =
        daemon_test::spectrum(sound, (sound.size() - camera_rate_hz) / 2, tones_hz);
    for (size_t i = 0; i < tones_hz.size(); ++i) {
        const double level_db = 20 * std::log10(spectrum.amplitudes[i] / amplitude);
        EXPECT_NEAR(level_db, 0, 0.1) << tones_hz[i] << " Hz";
        testing::Test::RecordProperty("level_db_" + std::to_string(i), std::to_string(level_db));
    }
    EXPECT_LT(spectrum.rest_db, -60);
    testing::Test::RecordProperty("rest_db", std::to_string(spectrum.rest_db));
}

constexpr double said_s = 1.5;

TEST_F(Talk, SoundOf8KhzIsConverted) {
    const std::vector<double> tones_hz = {330, 1234, 2900};
    const Samples said = chord(8000, said_s, tones_hz, 6000);
    expect_tones(played(said, 8000, 1, 2 * said.size() - turn_samples), said_s, tones_hz, 6000);
}

TEST_F(Talk, StereoOf44Point1KhzIsConvertedAndMixed) {
    constexpr uint32_t rate_hz = 44100;
    const Samples left = chord(rate_hz, said_s, {440, 5000}, 8000);
    const Samples right = chord(rate_hz, said_s, {1000, 2500}, 8000);
    Samples both;
    for (size_t i = 0; i < left.size(); ++i) {
        both.push_back(left[i]);
        both.push_back(right[i]);
    }
    const auto wanted = static_cast<size_t>(said_s * camera_rate_hz) - turn_samples;
    expect_tones(played(both, rate_hz, 2, wanted), said_s, {440, 5000, 1000, 2500},
                 4000); // half of each side
}

TEST_F(Talk, NothingIsHeardWhileTheSpeakerIsBanned) {
    ASSERT_EQ(run_ctl({"ban"}).exit_code, 0);
    ASSERT_TRUE(system_.daemon->saw("recv disable speaker cmd, dn_mode is 0"));
    const std::string path = system_.dir().file("banned.wav");
    daemon_test::write_wav(path, Samples(camera_rate_hz / 2, 1000), camera_rate_hz, 1);
    ASSERT_EQ(run_ctl({"talk", path}, support::Leaks::not_sought).exit_code, 0);
    ASSERT_TRUE(system_.daemon->saw("###enable_aec###")) << "it is taken, and thrown away";
    ASSERT_EQ(run_ctl({"unban"}).exit_code, 0);
    ASSERT_TRUE(system_.daemon->saw("enable speaker, dn_mode is 0 "));
    const Samples said(camera_rate_hz / 2, 2000);
    EXPECT_TRUE(played(said, camera_rate_hz, 1, said.size()) == with_the_turn_filled(said));
}

} // namespace
