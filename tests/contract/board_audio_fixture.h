/*
 * What the suites of the board's sound share: a real boardd whose speaker is a file, blocks from its
 * microphone, sounds to play.
 *
 * Played sounds have no sample that is 0, so that a comparison can leave out silence: on a busy machine the
 * speaker may run dry between two pieces of a sound.
 */
#ifndef TESTS_CONTRACT_BOARD_AUDIO_FIXTURE_H
#define TESTS_CONTRACT_BOARD_AUDIO_FIXTURE_H

#include "contract/board_fixture.h"

#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>

namespace contract {

using Samples = std::vector<int16_t>;

constexpr size_t sample_rate = 16000;
constexpr uint64_t block_us = 40'000;
constexpr uint32_t block_bytes = 1280;

struct Block {
    AudioFrameInfo info;
    Samples samples;
};

/* So many samples of a sound that changes, none of them 0. */
inline Samples sound(size_t count, int32_t level = 8000) {
    Samples samples(count);
    for (size_t i = 0; i < count; ++i) {
        const auto t = static_cast<double>(i) / sample_rate;
        const double wave = std::sin(t * 2000 + 5 * std::sin(t * 13)) * std::sin(t * 7 + 1) * level;
        samples[i] = static_cast<int16_t>(static_cast<int32_t>(wave) * 2 + 1);
    }
    return samples;
}

inline Samples without_silence(const Samples &samples) {
    Samples rest;
    std::copy_if(samples.begin(), samples.end(), std::back_inserter(rest), [](int16_t x) { return x != 0; });
    return rest;
}

inline double energy(const Samples &samples) {
    double sum = 0;
    for (const int16_t sample : samples) {
        sum += static_cast<double>(sample) * sample;
    }
    return sum;
}

inline int32_t play(const Samples &samples) {
    return play_sound(samples.data(), static_cast<int32_t>(samples.size() * sizeof(int16_t)));
}

class BoardSound : public BoardTest {
  protected:
    /* A board that runs, small pictures, the speaker in a file. */
    void start_sound(std::vector<std::string> options = {}) {
        options.insert(options.end(), {"--speaker", "wav"});
        start_board(profile_of(h265_channel(64, 64), h264_channel(64, 64)), options);
    }

    int32_t fetch_sound(Block &block) {
        block.samples.resize(block_bytes / sizeof(int16_t));
        const int32_t result = get_audio_stream(block.samples.data(), block_bytes, &block.info);
        block.samples.resize(result >= 0 ? block.info.len / sizeof(int16_t) : 0);
        return result;
    }

    /* The next block; fails the test when none comes. */
    Block next_block() {
        Block block{};
        int32_t result = 0;
        const bool came = support::eventually([&] {
            result = fetch_sound(block);
            return result < 0 || block.info.len > 0;
        });
        EXPECT_TRUE(came && result >= 0) << boardd_->output();
        return block;
    }

    /* What is captured from now on, so many blocks. */
    Samples next_sound(size_t blocks) {
        Samples samples;
        while (blocks-- > 0 && !HasFailure()) {
            const Block block = next_block();
            samples.insert(samples.end(), block.samples.begin(), block.samples.end());
        }
        return samples;
    }

    /* What the speaker's file holds, less silence and header. */
    Samples heard() {
        std::ifstream file(run_dir_.file("boardd_speaker.wav"), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        Samples samples(bytes.size() > 44 ? (bytes.size() - 44) / sizeof(int16_t) : 0);
        if (!samples.empty()) {
            std::memcpy(samples.data(), bytes.data() + 44, samples.size() * sizeof(int16_t));
        }
        return without_silence(samples);
    }

    /* True once a picture comes on the main stream, whatever was lost before. */
    bool picture_comes() {
        Frame frame{};
        return support::eventually([&] { return fetch(0, frame) == 0 && frame.info.len > 0; });
    }

    /* Waits until so many samples have left the queue to the speaker. */
    bool played(size_t count) {
        return support::eventually(
            [&] { return static_cast<size_t>(status_number("/speaker/played")) >= count; });
    }
};

} // namespace contract

#endif
