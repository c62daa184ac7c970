#include "daemon/sound.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <fstream>
#include <iterator>
#include <numbers>
#include <random>

namespace daemon_test {

namespace {

constexpr size_t wav_header_bytes = 44;
constexpr size_t turn_samples = camera_rate_hz / 50;

template <typename Number>
void put(std::string *bytes, Number number) {
    bytes->append(reinterpret_cast<const char *>(&number), sizeof number);
}

} // namespace

Samples loud_noise(size_t samples, uint32_t seed) {
    std::mt19937 random(seed);
    Samples noise;
    while (noise.size() < samples) {
        const auto sample = static_cast<int16_t>(random());
        if (std::abs(sample) > 100) {
            noise.push_back(sample);
        }
    }
    return noise;
}

Samples chord(uint32_t rate_hz, double seconds, const std::vector<double> &tones_hz, double amplitude) {
    Samples samples(static_cast<size_t>(seconds * rate_hz));
    for (size_t i = 0; i < samples.size(); ++i) {
        double sum = 0;
        for (const double tone_hz : tones_hz) {
            sum += amplitude * std::sin(2 * std::numbers::pi * tone_hz * static_cast<double>(i) / rate_hz);
        }
        samples[i] = static_cast<int16_t>(std::lround(sum));
    }
    return samples;
}

void write_wav(const std::string &path, const Samples &samples, uint32_t rate_hz, uint16_t channels) {
    const auto data_bytes = static_cast<uint32_t>(samples.size() * sizeof(int16_t));
    std::string bytes = "RIFF";
    put(&bytes, static_cast<uint32_t>(data_bytes + wav_header_bytes - 8));
    bytes += "WAVEfmt ";
    put(&bytes, uint32_t{16});
    put(&bytes, uint16_t{1}); // linear PCM
    put(&bytes, channels);
    put(&bytes, rate_hz);
    put(&bytes, static_cast<uint32_t>(sizeof(int16_t) * rate_hz * channels));
    put(&bytes, static_cast<uint16_t>(channels * sizeof(int16_t)));
    put(&bytes, uint16_t{16});
    bytes += "data";
    put(&bytes, data_bytes);
    bytes.append(reinterpret_cast<const char *>(samples.data()), data_bytes);
    std::ofstream(path, std::ios::binary) << bytes;
}

Samples heard(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    Samples result;
    if (bytes.size() <= wav_header_bytes) {
        return result;
    }
    Samples all((bytes.size() - wav_header_bytes) / sizeof(int16_t));
    std::memcpy(all.data(), bytes.data() + wav_header_bytes, all.size() * sizeof(int16_t));
    for (size_t at = 0; at < all.size(); at += turn_samples) {
        const auto begin = all.begin() + static_cast<ptrdiff_t>(at);
        const auto end = all.begin() + static_cast<ptrdiff_t>(std::min(at + turn_samples, all.size()));
        if (std::any_of(begin, end, [](int16_t sample) { return sample != 0; })) {
            result.insert(result.end(), begin, end);
        }
    }
    return result;
}

Spectrum spectrum(const Samples &sound, size_t from, const std::vector<double> &tones_hz) {
    Spectrum result{std::vector<double>(tones_hz.size()), 0};
    constexpr size_t second = camera_rate_hz;
    if (sound.size() < from + second) {
        return result;
    }
    double power = 0;
    for (size_t i = 0; i < second; ++i) {
        power += static_cast<double>(sound[from + i]) * sound[from + i] / second;
    }
    // Tones of whole Hz have nothing in common in the course of a second, so each can be taken out by itself.
    double rest = power;
    for (size_t k = 0; k < tones_hz.size(); ++k) {
        std::complex<double> sum;
        for (size_t i = 0; i < second; ++i) {
            const double angle = 2 * std::numbers::pi * tones_hz[k] * static_cast<double>(i) / second;
            sum += static_cast<double>(sound[from + i]) * std::polar(1.0, angle);
        }
        result.amplitudes[k] = 2 * std::abs(sum) / second;
        rest -= result.amplitudes[k] * result.amplitudes[k] / 2;
    }
    result.rest_db = power > 0 ? 10 * std::log10(std::max(rest / power, 1e-12)) : 0;
    return result;
}

} // namespace daemon_test
