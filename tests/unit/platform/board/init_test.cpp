// board_system_init with a board that takes its time, or never answers.

#include "board/client/control_call.h"
#include "libboardav.h"
#include "platform/board/fake_board.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

namespace {

using namespace board;

TEST(Init, ABoardMayBeSlowerToStartThanToDoAnythingElse) {
    const support::ScratchRunDir run_dir;
    const fake::FakeBoard board(control_timeout_ms / 1000. + 0.3);
    EXPECT_EQ(board_system_init(1), 0);
    EXPECT_EQ(req_IDR(), 0);
}

TEST(Init, ABoardThatNeverAnswersFailsInTheEnd) {
    const support::ScratchRunDir run_dir;
    const fake::FakeBoard board(3600.);
    const uint64_t before_us = monotonic_us();
    EXPECT_EQ(board_system_init(1), -1);
    EXPECT_GE(monotonic_us() - before_us, uint64_t{control_timeout_ms} * 1000);
    EXPECT_EQ(req_IDR(), -1);
}

} // namespace
