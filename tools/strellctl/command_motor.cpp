// strellctl motor: takes tracking directions out of the mailbox, as the process of the motor does. An example
// of it: on a camera another process drives the motor.

#include "board/boardctl.h"
#include "libalgo_kit.h"
#include "strellctl/all_commands.h"
#include "strellctl/clock.h"
#include "strellctl/failure.h"
#include "strellctl/interrupt.h"
#include "strellctl/json.h"
#include "strellctl/mailbox.h"
#include "strellctl/output.h"
#include "strellctl/wall_clock.h"
#include "strellctl/wording.h"

#include <memory>
#include <poll.h>

namespace ctl {

namespace {

constexpr double until_interrupted_s = 1e9;
constexpr int look_ms = 20;          // the mailbox wakes nobody
constexpr int32_t step_of_view = 50; // hundredths of a degree

/* The software board, whose view is moved in place of a motor. Null when it is not to be, or not there. */
std::unique_ptr<board::BoardCtl> find_board(const Arguments &arguments) {
    if (arguments.has("--no-move")) {
        return nullptr;
    }
    try {
        return std::make_unique<board::BoardCtl>();
    } catch (const board::BoardCtlError &error) {
        if (arguments.has("--move")) {
            throw Failure(error.what());
        }
        return nullptr;
    }
}

std::string words_of(const Turn &turn) {
    const auto degrees = [](int32_t steps, const char *positive, const char *negative) {
        return format("%s %.1f degrees", steps > 0 ? positive : negative, std::abs(steps) / 2.0);
    };
    if (turn.horizontal != 0) {
        return degrees(turn.horizontal, "right", "left");
    }
    return turn.vertical != 0 ? degrees(turn.vertical, "down", "up") : "nowhere";
}

void tell(const std::string &text, const std::optional<Turn> &turn, bool json) {
    const std::string time = wall_clock_text();
    if (!json) {
        print_line(time + "  " + printable(text) + "  " +
                   (turn ? words_of(*turn) : "is no direction; thrown away"));
        return;
    }
    JsonObject object;
    object.add("time", time).add("text", text);
    if (turn) {
        object.add("horizontal", turn->horizontal).add("vertical", turn->vertical);
    } else {
        object.add_null("horizontal").add_null("vertical");
    }
    print_line(object.text());
}

void move(board::BoardCtl *board, const Turn &turn) {
    try {
        board->move_view_by({turn.horizontal * step_of_view, -turn.vertical * step_of_view});
    } catch (const board::BoardCtlError &error) {
        throw Failure(error.what());
    }
}

} // namespace

int run_motor(const Arguments &arguments) {
    if (arguments.has("--move") && arguments.has("--no-move")) {
        throw Usage("--move and --no-move exclude each other");
    }
    const bool json = arguments.has("--json");
    const uint64_t end_us =
        monotonic_us() +
        static_cast<uint64_t>(arguments.seconds("-t", until_interrupted_s) * static_cast<double>(us_per_s));
    const Interrupt interrupt;
    const std::unique_ptr<board::BoardCtl> board = find_board(arguments);
    Mailbox mailbox;
    bool waiting = false;
    while (!interrupt.happened() && monotonic_us() < end_us) {
        const bool there = mailbox.attach();
        if (!there && !waiting) {
            notice(
                "nobody has made the mailbox yet: strell_v2 does (strellctl set motion_detection_enable on)");
            waiting = true;
        }
        const std::optional<std::string> text = there ? mailbox.take() : std::nullopt;
        if (text) {
            const std::optional<Turn> turn = parse_turn(*text);
            tell(*text, turn, json);
            if (turn && board != nullptr) {
                move(board.get(), *turn);
            }
            continue;
        }
        pollfd entry = {interrupt.fd(), POLLIN, 0};
        poll(&entry, 1, look_ms);
    }
    return exit_good;
}

} // namespace ctl
