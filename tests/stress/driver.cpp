#include "driver.h"

#include "broadcaster.h"
#include "child.h"
#include "libshbf_receiver.h"
#include "witness.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <sys/wait.h>

namespace stress {

namespace {

/* Hostile receivers between two looks at what they have left behind. */
constexpr uint64_t rounds_per_bout = 100;
constexpr uint32_t bouts_per_broadcaster = 6;
constexpr uint32_t checks_per_stall = 8;
constexpr int32_t query_ms = 20'000;

Share share_of(const Plan &plan) {
    if (plan.kills != 0 && plan.stops != 0) {
        // A little more than asked for: both goals are reached at about the same time.
        return {static_cast<uint32_t>(plan.stops * 11 / 10), static_cast<uint32_t>(plan.kills)};
    }
    return {1, 8};
}

} // namespace

Driver::Driver(Scoreboard *board, const Plan &plan)
    : board_(board), plan_(plan), random_(plan.seed),
      crowd_(board, plan.seed + 1, plan.crowd, share_of(plan)) {}

bool Driver::reached() const {
    if (board_->failures != 0) {
        return true;
    }
    if (plan_.seconds != 0) {
        return now_ns() - start_ns_ >= plan_.seconds * 1'000'000'000;
    }
    return tally_.kills >= plan_.kills && tally_.stops >= plan_.stops && tally_.rounds >= plan_.rounds;
}

void Driver::run() {
    start_ns_ = now_ns();
    start_broadcaster();
    start_witnesses();
    for (uint32_t bouts = 1; !reached(); ++bouts) {
        bout();
        if (bouts % bouts_per_broadcaster == 0 && !reached()) {
            // In the middle of it all; by turns killed and ended in order.
            restart_broadcaster(bouts / bouts_per_broadcaster % 2 == 1);
            bout();
        }
        check();
    }
    end();
}

void Driver::start_broadcaster() {
    const uint64_t generation = board_->generation + 1;
    for (std::atomic<uint64_t> &registered : board_->registered) {
        registered = 0;
    }
    board_->generation = generation;
    broadcaster_ =
        start_child(Group::same, [=, this] { return run_broadcaster(board_, generation, plan_.seed); });
    if (!eventually([&] { return board_->serving == generation || board_->failures != 0; })) {
        fail(board_, "the broadcaster does not open its channels");
    }
    board_->restarting = false;
}

void Driver::start_witnesses() {
    for (uint32_t channel = 0; channel < streaming_channels; ++channel) {
        for (uint32_t witness = 0; witness < witnesses; ++witness) {
            witnesses_.push_back(start_child(Group::same, [=, this] {
                return run_witness(board_, static_cast<Channel>(channel), witness);
            }));
        }
    }
}

void Driver::look_after_children() {
    int status = 0;
    if (broadcaster_ != 0 && has_ended(broadcaster_, &status)) {
        broadcaster_ = 0;
        fail(board_, "the broadcaster ended with status 0x%x", static_cast<unsigned>(status));
    }
    for (pid_t &pid : witnesses_) {
        if (pid != 0 && has_ended(pid, &status)) {
            pid = 0;
            fail(board_, "a witness ended with status 0x%x", static_cast<unsigned>(status));
        }
    }
}

void Driver::bout() {
    if (!eventually([&] {
            return board_->failures != 0 ||
                   (board_->registered[steady] == witnesses && board_->registered[busy] == witnesses);
        })) {
        fail(board_, "not all witnesses could attach");
    }
    const uint64_t until = tally_.rounds + rounds_per_bout;
    while (tally_.rounds < until && !reached()) {
        crowd_.turn(&tally_);
        look_after_children();
        pause_us(300);
    }
}

/* With all that is hostile gone, nothing of it may be left. */
void Driver::check() {
    crowd_.disperse(&tally_);
    board_->pause = true;
    const auto paused = [&] {
        return board_->paused == streaming_channels * producers || board_->failures != 0;
    };
    if (!eventually(paused)) {
        fail(board_, "a producer is stuck in a call");
    }
    const uint64_t left = witnesses;
    await_empty(steady, left);
    await_empty(busy, left);
    await_empty(quiet, 0);
    ++board_->account_request;
    const auto accounted = [&] {
        return board_->account_done == board_->account_request || board_->failures != 0;
    };
    if (!eventually(accounted) || !await_empty(steady, left) || !await_empty(busy, left)) {
        fail(board_, "no account of what was published");
    }
    ++board_->check_request;
    if (!eventually([&] { return board_->check_done == board_->check_request || board_->failures != 0; })) {
        fail(board_, "the broadcaster does not look at itself");
    }
    look_after_children();
    for (int i = 0; i < 4 && board_->failures == 0; ++i) {
        measure_reclaim();
    }
    if (checks_ % checks_per_stall == 0 && board_->failures == 0) {
        stall_beyond_limit();
    }
    ++checks_;
    board_->pause = false;
}

/* Only so many receivers are there, and nobody holds a byte. */
bool Driver::await_empty(Channel channel, uint64_t receivers) {
    shbf_channel_info_t info{};
    int32_t result = 0;
    const bool empty = eventually([&] {
        result = timed(&board_->queries,
                       [&] { return shbf_channel_query(channel_paths[channel], &info, query_ms); });
        return board_->failures != 0 ||
               (result == 0 && info.arena_used == 0 && info.buffers == 0 &&
                (info.receivers == receivers || (board_->retirements != 0 && info.receivers < receivers)));
    });
    if (!empty) {
        bytes_lost_ += info.arena_used;
        fail(board_, "%s: %u bytes in %u buffers are lost, %u receivers are attached where %u are due (%d)",
             channel_names[channel], info.arena_used, info.buffers, info.receivers,
             static_cast<unsigned>(receivers), -result);
    }
    return empty;
}

/* The only receiver of the quiet channel, attached when this returns. */
pid_t Driver::start_on_quiet(void (*attack)(Hostile *)) {
    const uint64_t attached = board_->quiet_attached;
    const uint64_t seed = random_.next();
    const pid_t victim = start_child(Group::own, [&] {
        Hostile hostile = {board_, channel_paths[quiet], Random(seed)};
        attack(&hostile);
        return 0;
    });
    if (!eventually([&] { return board_->quiet_attached == attached + 1 || board_->failures != 0; })) {
        fail(board_, "quiet: a receiver does not get attached");
    }
    return victim;
}

void Driver::end_on_quiet(pid_t victim, uint64_t *killed_ns, uint64_t *ended_ns) {
    *killed_ns = now_ns();
    kill(victim, SIGKILL);
    int status = 0;
    waitpid(victim, &status, 0);
    *ended_ns = now_ns();
    ++tally_.kills;
    await_empty(quiet, 0);
}

/* A receiver that holds frames is killed: how soon is their memory back? */
void Driver::measure_reclaim() {
    const pid_t victim = start_on_quiet(hold_everything);
    board_->quiet_detached_ns = 0;
    ++board_->quiet_request;
    shbf_channel_info_t info{};
    if (!eventually([&] { return board_->quiet_done == board_->quiet_request || board_->failures != 0; }) ||
        shbf_channel_query(channel_paths[quiet], &info, query_ms) != 0 ||
        (info.buffers != quiet_frames && board_->failures == 0)) {
        fail(board_, "quiet: of the frames published a receiver holds %u", info.buffers);
    }
    pause_us(random_.below(2000));
    uint64_t killed_ns = 0;
    uint64_t ended_ns = 0;
    end_on_quiet(victim, &killed_ns, &ended_ns);
    const uint64_t back_ns = board_->quiet_detached_ns;
    if (back_ns != 0) {
        board_->reclaim_from_kill.add(back_ns - killed_ns);
        board_->reclaim_from_end.add(back_ns > ended_ns ? back_ns - ended_ns : 0);
    }
}

/* A receiver that stands still is given up, and its frames are written over. When it goes on it must not take
 * them for what it was sent. */
void Driver::stall_beyond_limit() {
    const pid_t victim = start_on_quiet(follow);
    kill(victim, SIGSTOP);
    const uint64_t given_up = board_->given_up;
    board_->churn = true;
    pause_us(20'000); // it gets its share, which is not all
    const pid_t another = start_on_quiet(hold_everything);
    if (!eventually([&] { return board_->given_up > given_up || board_->failures != 0; })) {
        fail(board_, "quiet: a receiver keeps all the memory for ever");
    }
    pause_us(20'000);
    board_->churn = false;
    kill(victim, SIGCONT);
    ++tally_.stops;
    ++tally_.long_stops;
    pause_us(20'000);
    kill(another, SIGKILL);
    waitpid(another, nullptr, 0);
    ++tally_.kills;
    uint64_t ignored = 0;
    end_on_quiet(victim, &ignored, &ignored);
}

void Driver::restart_broadcaster(bool by_force) {
    board_->restarting = true;
    int status = 0;
    if (by_force) {
        kill(broadcaster_, SIGKILL);
        ++killed_;
    } else {
        board_->end_generation = board_->generation.load();
    }
    if (!await_end(broadcaster_, &status)) {
        fail(board_, "the broadcaster does not end");
        kill(broadcaster_, SIGKILL);
        waitpid(broadcaster_, &status, 0);
    } else if (!by_force && status != 0) {
        fail(board_, "the broadcaster ended with status 0x%x", static_cast<unsigned>(status));
    }
    board_->paused = 0;
    board_->retirements_before += board_->retirements.exchange(0);
    start_broadcaster();
}

void Driver::end() {
    board_->ending = true;
    crowd_.disperse(&tally_);
    look_after_children();
    board_->end_generation = board_->generation.load();
    int status = 0;
    if (broadcaster_ != 0 && (!await_end(broadcaster_, &status) || status != 0)) {
        fail(board_, "the broadcaster ended with status 0x%x", static_cast<unsigned>(status));
    }
    for (const pid_t pid : witnesses_) {
        if (pid != 0 && (!await_end(pid, &status) || status != 0)) {
            fail(board_, "a witness does not see the end, or ended with status 0x%x",
                 static_cast<unsigned>(status));
        }
    }
}

} // namespace stress
