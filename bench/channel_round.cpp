#include "channel_round.h"

#include "measure.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <numeric>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

namespace {

// Frames before and after those that count. The producer says hello until everybody has heard it, since who
// subscribes hears nothing for a while in some transports; and it says the end until everybody has.
enum Kind : uint32_t { hello, counted, end };

constexpr uint64_t ms = 1000000; // in ns
constexpr uint64_t patience_ns = 10000 * ms;

struct Receiver {
    std::atomic<uint32_t> said; // the last kind that came, and 1
    uint32_t frames;
    uint64_t first_ns;
    uint64_t last_ns;
    uint64_t cpu_ns;
    uint64_t latency_ns[frames_most];
};

/* Shared by the processes of a round. */
struct Board {
    Receiver receivers[receivers_most];
    std::atomic<bool> begun;
    std::atomic<bool> over;
    uint32_t frames; // sent, or meant to be sent while the transport had no room
    uint64_t cpu_ns;
    uint64_t publish_ns[frames_most];
};

uint64_t cpu_ns() {
    timespec used{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<uint64_t>(used.tv_sec) * 1000000000 + static_cast<uint64_t>(used.tv_nsec);
}

void pin() {
    cpu_set_t allowed;
    cpu_set_t one;
    CPU_ZERO(&one);
    sched_getaffinity(0, sizeof allowed, &allowed);
    for (size_t cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (CPU_ISSET(cpu, &allowed)) {
            CPU_SET(cpu, &one);
            break;
        }
    }
    sched_setaffinity(0, sizeof one, &one);
}

void mark() {
    getpgid(0);
}

/* One frame. False when the transport has no room. */
bool send(Transport *transport, const Load &load, Kind kind, uint32_t sequence, uint64_t *took_ns) {
    uint8_t *frame = transport->prepare(load.size);
    if (frame == nullptr) {
        return false;
    }
    if (load.whole) {
        std::memset(frame, static_cast<int>(sequence & 0xff), load.size);
    }
    frame[load.size - 1] = 1;
    const FrameHead head = {now_ns(), sequence, kind};
    std::memcpy(frame, &head, sizeof head);
    transport->publish(load.size);
    if (took_ns != nullptr) {
        *took_ns = now_ns() - head.sent_ns;
    }
    return true;
}

/* Sends frames of this kind until every receiver has got one. */
void send_until_heard(Transport *transport, const Load &load, Board *board, Kind kind) {
    const uint64_t deadline_ns = now_ns() + patience_ns;
    Receiver *last = board->receivers + load.receivers;
    while (std::any_of(board->receivers, last, [&](const Receiver &one) { return one.said <= kind; })) {
        send(transport, load, kind, 0, nullptr);
        wait_until_ns(now_ns() + 2 * ms);
        if (now_ns() > deadline_ns) {
            errno = ETIMEDOUT;
            fail("receivers do not hear");
        }
    }
}

void produce(Transport *transport, const Load &load, Board *board) {
    transport->open_sender();
    send_until_heard(transport, load, board, hello);
    wait_until_ns(now_ns() + 20 * ms);

    const uint64_t period_ns = load.rate_hz > 0 ? 1000 * ms / static_cast<uint64_t>(load.rate_hz) : 0;
    const uint64_t cpu_before_ns = cpu_ns();
    mark();
    uint64_t next_ns = now_ns();
    const uint64_t end_ns = next_ns + flat_out_ms * ms;
    int i = 0;
    for (; i < load.frames && (period_ns != 0 || now_ns() < end_ns); ++i) {
        if (period_ns != 0) {
            wait_until_ns(next_ns += period_ns);
        }
        const uint64_t before_ns = now_ns();
        if (!send(transport, load, counted, static_cast<uint32_t>(i), &board->publish_ns[i])) {
            board->publish_ns[i] = now_ns() - before_ns;
            sched_yield();
        }
    }
    mark();
    board->cpu_ns = cpu_ns() - cpu_before_ns;
    board->frames = static_cast<uint32_t>(i);
    wait_until_ns(now_ns() + 20 * ms);
    send_until_heard(transport, load, board, end);
    board->over = true;
}

void consume(Transport *transport, int index, Receiver *result, const Board *board) {
    transport->open_receiver(index);
    uint64_t cpu_before_ns = 0;
    for (;;) {
        const FrameHead head = transport->receive();
        const uint64_t now = now_ns();
        if (head.kind == counted && result->frames < frames_most) {
            if (result->frames == 0) {
                cpu_before_ns = cpu_ns();
                mark();
                result->first_ns = now;
            }
            result->last_ns = now;
            result->latency_ns[result->frames++] = now - head.sent_ns;
        }
        if (head.kind == end) {
            break;
        }
        if (result->said <= head.kind) {
            result->said = head.kind + 1;
        }
    }
    mark();
    result->cpu_ns = cpu_ns() - cpu_before_ns;
    result->said = end + 1;
    while (!board->over) { // the sender may not notice that a receiver goes
        wait_until_ns(now_ns() + 5 * ms);
    }
}

/* The child closes its end in order, as some peers need. */
template <typename Work>
pid_t in_child(const Board *board, bool pinned, Work work) {
    std::fflush(nullptr); // else the child would write it as well
    const pid_t child = fork();
    if (child < 0) {
        fail("fork");
    }
    if (child == 0) {
        if (pinned) {
            pin();
        }
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY); // somebody may count its system calls
        while (!board->begun) {
            wait_until_ns(now_ns() + ms / 10);
        }
        work();
        std::exit(0);
    }
    return child;
}

/* Until all have ended. False when one failed, or hung: all have been killed then. */
bool wait_for(std::vector<pid_t> children, const char *name, const Load &load) {
    const uint64_t sending_ns =
        load.rate_hz > 0 ? 1000 * ms * static_cast<uint64_t>(load.frames / load.rate_hz) : 0;
    const uint64_t deadline_ns = now_ns() + sending_ns + 2 * patience_ns;
    const char *trouble = nullptr;
    for (; !children.empty(); wait_until_ns(now_ns() + ms)) {
        std::erase_if(children, [&](pid_t child) {
            int status = 0;
            const bool ended = waitpid(child, &status, WNOHANG) == child;
            trouble = status != 0 ? "failed" : trouble;
            return ended;
        });
        trouble = now_ns() > deadline_ns ? "hangs" : trouble;
        if (trouble != nullptr) {
            std::fprintf(stderr, "bench: a process of \"%s\" %s; the round is left out\n", name, trouble);
            for (const pid_t child : children) {
                kill(child, SIGKILL);
                waitpid(child, nullptr, 0);
            }
            return false;
        }
    }
    return true;
}

double at(uint64_t *values, size_t count, double share) {
    if (count == 0) {
        return 0;
    }
    const auto index = static_cast<size_t>(share * static_cast<double>(count - 1));
    std::nth_element(values, values + index, values + count);
    return static_cast<double>(values[index]) / 1000.0;
}

Round summary(Board *board, const Load &load) {
    Round round{};
    round.publish_p50_us = at(board->publish_ns, board->frames, 0.5);
    round.publish_p99_us = at(board->publish_ns, board->frames, 0.99);
    round.sender_cpu_us = static_cast<double>(board->cpu_ns) / 1000.0 / board->frames / load.receivers;
    round.received_hz = 1e9;
    for (int i = 0; i < load.receivers; ++i) {
        Receiver &one = board->receivers[i];
        const auto worst = [](double *value, double candidate) { *value = std::max(*value, candidate); };
        worst(&round.latency_p50_us, at(one.latency_ns, one.frames, 0.5));
        worst(&round.latency_p99_us, at(one.latency_ns, one.frames, 0.99));
        worst(&round.latency_max_us, at(one.latency_ns, one.frames, 1));
        worst(&round.lost, 1.0 - static_cast<double>(one.frames) / board->frames);
        round.receiver_cpu_us +=
            static_cast<double>(one.cpu_ns) / 1000.0 / std::max(one.frames, 1U) / load.receivers;
        const auto seconds = static_cast<double>(one.last_ns - one.first_ns) / 1e9;
        round.received_hz = std::min(round.received_hz, seconds > 0 ? (one.frames - 1) / seconds : 0);
    }
    return round;
}

} // namespace

std::optional<Round> run_round(const TransportKind &kind, const Load &load,
                               const std::function<void(const std::vector<pid_t> &)> &watch) {
    static auto *board = static_cast<Board *>(
        mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    if (board == MAP_FAILED) {
        fail("mmap");
    }
    read_whole = load.whole;
    board->begun = false;
    board->over = false;
    for (Receiver &one : board->receivers) {
        one.said = 0;
        one.frames = 0;
    }
    std::unique_ptr<Transport> transport = kind.make({0, capacity_max, load.receivers});
    std::vector<pid_t> children;
    for (int i = 0; i < load.receivers; ++i) {
        children.push_back(in_child(board, load.pinned, [&] {
            consume(transport.get(), i, &board->receivers[i], board);
            transport.reset();
        }));
    }
    children.push_back(in_child(board, load.pinned, [&] {
        produce(transport.get(), load, board);
        transport.reset();
    }));
    if (watch) {
        watch(children);
    }
    board->begun = true;
    if (!wait_for(children, kind.name, load)) {
        return std::nullopt;
    }
    return summary(board, load);
}

} // namespace bench
