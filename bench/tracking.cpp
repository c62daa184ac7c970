// How soon a camera that tracks has what it follows in the middle of its picture again: through the detector,
// the daemon, its mailbox, the example of the motor's process and the board's view. Somebody walks to and fro
// before it, faster each time.

#include "board/boardctl.h"
#include "camera.h"
#include "measure.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>

namespace {

constexpr int32_t middle = board::view_field_horizontal / 8; // to each side, hundredths of a degree
constexpr int32_t speeds[] = {500, 1000, 1500, 2000, 3000};  // a second
constexpr uint64_t look_again_ns = 10'000'000;
constexpr uint64_t second_ns = 1'000'000'000;
constexpr int seconds = 60;

/* From the left to the right of what the camera can turn to, and back. */
board::SceneObjectRecord walker(int32_t speed) {
    return {1, board::path_swing, speed, 1200, -9000, -600, 18000, 0};
}

int32_t beside_the_middle(board::BoardCtl &board) {
    const board::SceneStateRecord state = board.scene();
    return std::abs(state.object_pan - state.view.pan);
}

struct Walk {
    bench::Samples away; /* how long each time */
    int looks = 0;
    int in_the_middle = 0;
};

Walk follow(board::BoardCtl &board, int32_t speed) {
    Walk walk;
    board.set_object(walker(speed));
    std::optional<uint64_t> left;
    // A walk begins far to the side: it counts once it has been found.
    bool found = false;
    const uint64_t begin = bench::now_ns();
    const uint64_t end = begin + static_cast<uint64_t>(bench::scaled(seconds, 10)) * second_ns;
    for (uint64_t now = begin; now < end || left; now = bench::now_ns()) {
        const bool there = beside_the_middle(board) <= middle;
        found = found || there;
        if (found) {
            ++walk.looks;
            walk.in_the_middle += there ? 1 : 0;
            if (!there && !left) {
                left = now;
            } else if (there && left) {
                walk.away.add_ns(now - *left);
                left.reset();
            }
        }
        if (now > end + 20 * second_ns) {
            throw std::runtime_error("who walks is not found again");
        }
        bench::wait_until_ns(now + look_again_ns);
    }
    return walk;
}

void measure() {
    bench::Camera camera;
    camera.start_store(bench::Keeps::in_memory, bench::small_profile);
    bench::set_setting("motion_detection_enable", "on");
    camera.start_board();
    camera.start_daemon();
    const support::Process motor({bench::program("strellctl"), "motor", "--move"});
    board::BoardCtl board;
    std::puts("| walks, degrees a second | left the middle | back in it, ms: median | at most | of the time "
              "in it, % |");
    std::puts("|---|---|---|---|---|");
    for (const int32_t speed : speeds) {
        const Walk walk = follow(board, speed);
        if (walk.away.count() == 0) {
            throw std::runtime_error("nobody ever left the middle");
        }
        std::printf("| %d | %zu | %.0f | %.0f | %d |\n", speed / 100, walk.away.count(), walk.away.ms(0.5),
                    walk.away.ms(1), walk.in_the_middle * 100 / walk.looks);
        std::fflush(stdout);
    }
}

} // namespace

int main() {
    try {
        measure();
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "tracking: %s\n", failure.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
