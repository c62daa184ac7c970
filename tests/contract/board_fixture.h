/*
 * What the suites of libboardav share: a real boardd at small sizes, and frames taken from it.
 *
 * libboardav never connects a second time in the life of a process, so each test is a process of its own, as
 * ctest runs them.
 */
#ifndef TESTS_CONTRACT_BOARD_FIXTURE_H
#define TESTS_CONTRACT_BOARD_FIXTURE_H

#include "board/boardctl.h"
#include "libboardav.h"
#include "support/board_process.h"
#include "support/scratch.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

namespace contract {

using namespace std::chrono_literals;

constexpr uint32_t payload_capacity = 409600;

struct Frame {
    VideoFrameInfo info;
    std::vector<uint8_t> payload;
};

/* A channel's setting; both kinds of encoder, small and cheap. */
constexpr VencChannel h265_channel(int32_t width = 320, int32_t height = 180, int32_t fps = 15) {
    return {1, 0, 300'000, fps, width, height};
}
constexpr VencChannel h264_channel(int32_t width = 320, int32_t height = 180, int32_t fps = 15) {
    return {0, 0, 300'000, fps, width, height};
}
constexpr VencConfig profile_of(const VencChannel &main, const VencChannel &sub) {
    return {1, {0, 0, 0}, 1, {main, sub}};
}

class BoardTest : public testing::Test {
  protected:
    BoardTest();

    /* Says what boardd said, when the test has failed. */
    void TearDown() override;

    /* A boardd, with these options. */
    void start_boardd(const std::vector<std::string> &options = {});

    /* A boardd and a board that runs with this profile. */
    void start_board(const VencConfig &profile, const std::vector<std::string> &options = {});
    void start_board() { start_board(profile_of(h265_channel(), h264_channel(160, 90))); }

    /* Fetches once, into `payload`. */
    int32_t fetch(int32_t channel, Frame &frame, uint32_t capacity = payload_capacity);

    /* The next frame; empty results are passed over. Fails the test, and gives an empty frame, when none
     * comes or the board answers a negative value. */
    Frame next_frame(int32_t channel);
    std::vector<Frame> next_frames(int32_t channel, size_t count);

    /* Fetches until the answer is `result`; false when it never is. Frames on the way are dropped. */
    bool fetch_until(int32_t channel, int32_t result);

    /* A member of boardd's status, by its JSON pointer, as text: "/channels/0/frames". */
    std::string status(const std::string &pointer);
    int64_t status_number(const std::string &pointer) { return std::stoll(status(pointer)); }

    support::ScratchRunDir run_dir_;
    std::optional<support::BoardProcess> boardd_;
};

/* What a decoder makes of frames: "hevc,320,180,30" (codec, width, height, decoded frames), and behind it
 * every complaint it has. */
std::string decoded(const std::vector<Frame> &frames, const support::ScratchRunDir &run_dir);

/* The types of the network-abstraction units of an access unit, in order. */
std::vector<int> unit_types(const Frame &frame);

/* Microseconds of CLOCK_MONOTONIC. */
uint64_t monotonic_us();

} // namespace contract

#endif
