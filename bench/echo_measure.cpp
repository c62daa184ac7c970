#include "bench/echo_measure.h"

#include "board/boardd/audio/engine.h"
#include "board/boardd/audio/voice.h"

#include <cmath>
#include <span>

namespace bench {

namespace {

using namespace board;

constexpr size_t slack_samples = samples_per_ms / 2;

using Samples = std::span<const int16_t>;

double product(Samples a, Samples b) {
    double sum = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        sum += static_cast<double>(a[i]) * b[i];
    }
    return sum;
}

/* Never zero, so that silence against silence is a number. */
double energy(Samples samples) {
    return product(samples, samples) + 1.0;
}

Samples seconds(const std::vector<int16_t> &samples, uint32_t from_s, uint32_t to_s) {
    return Samples(samples).subspan(size_t{from_s} * sample_rate_hz, size_t{to_s - from_s} * sample_rate_hz);
}

Samples behind(const std::vector<int16_t> &samples, size_t start) {
    return Samples(samples).subspan(start);
}

double decibels(double ratio) {
    return 10.0 * std::log10(ratio);
}

Turn near_turn(const Talk &talk, size_t index) {
    Turn said{};
    if (talk.near_speaks && index >= size_t{near_from_s} * sample_rate_hz) {
        Voice(talk.near_voice).speak(index, said);
        for (int16_t &sample : said) {
            sample = to_sample(static_cast<float>(sample) * gain_of_db(talk.near_level_db));
        }
    }
    return said;
}

} // namespace

Capture run_engine(const EchoSettings &room, const Talk &talk, bool cancelling) {
    Capture capture;
    AudioEngine engine(room);
    engine.set_canceller(cancelling);
    for (size_t index = 0; index < size_t{talk.seconds} * sample_rate_hz; index += turn_samples) {
        Turn played;
        Voice(talk.far_voice).speak(index, played);
        const Turn said = near_turn(talk, index);
        const Turn captured = engine.step(said, played);
        capture.said.insert(capture.said.end(), said.begin(), said.end());
        capture.captured.insert(capture.captured.end(), captured.begin(), captured.end());
    }
    return capture;
}

double erle_db(const Capture &off, const Capture &on, uint32_t from_s, uint32_t to_s) {
    return decibels(energy(seconds(off.captured, from_s, to_s)) / energy(seconds(on.captured, from_s, to_s)));
}

double similarity(const Capture &capture) {
    const Samples said = behind(capture.said, size_t{near_from_s} * sample_rate_hz);
    const Samples captured = behind(capture.captured, size_t{near_from_s} * sample_rate_hz);
    const size_t length = said.size() - turn_samples - slack_samples;
    double best = 0;
    for (size_t delay = 0; delay <= turn_samples + slack_samples; ++delay) {
        if (delay > slack_samples && delay + slack_samples < turn_samples) {
            continue;
        }
        const Samples a = said.first(length);
        const Samples b = captured.subspan(delay, length);
        best = std::max(best, product(a, b) / std::sqrt(energy(a) * energy(b)));
    }
    return best;
}

double kept_db(const Capture &capture) {
    const size_t start = size_t{near_from_s} * sample_rate_hz;
    return decibels(energy(behind(capture.captured, start)) / energy(behind(capture.said, start)));
}

} // namespace bench
