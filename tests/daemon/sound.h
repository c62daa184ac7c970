/*
 * Sound as it goes into the camera and comes out of its speaker: WAV files of 16-bit samples.
 */
#ifndef TESTS_DAEMON_SOUND_H
#define TESTS_DAEMON_SOUND_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace daemon_test {

using Samples = std::vector<int16_t>;

constexpr uint32_t camera_rate_hz = 16000;

/* Noise that sounds the same each time, and in which no sample is near 0. */
Samples loud_noise(size_t samples, uint32_t seed);

/* Tones of one amplitude each, from the same moment on, added up. */
Samples chord(uint32_t rate_hz, double seconds, const std::vector<double> &tones_hz, double amplitude);

/* Writes a WAV file; with two channels the samples alternate between left and right. */
void write_wav(const std::string &path, const Samples &samples, uint32_t rate_hz, uint16_t channels);

/*
 * What a board that was started with "--speaker wav" has let hear so far, from its file. Turns of 20 ms that
 * are silent as a whole are left out: the board puts them in when it is not sent sound in time, and behind a
 * sound. Empty when there is no file yet.
 */
Samples heard(const std::string &path);

/* What a second of sound is made of: the amplitude of each of these tones, in whole Hz, and the power of all
 * that is neither of them, in decibels below the whole; whatever the tones' phases. */
struct Spectrum {
    std::vector<double> amplitudes;
    double rest_db;
};

/* Of the second that begins at sample `from`; rest_db is 0, and no tone is there, when the sound ends before.
 */
Spectrum spectrum(const Samples &sound, size_t from, const std::vector<double> &tones_hz);

} // namespace daemon_test

#endif
