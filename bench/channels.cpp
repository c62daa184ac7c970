// How long a frame takes from the producer to receivers in other processes, side by side: all transports in
// turn, round after round, so that what the machine does meanwhile meets them all alike. Medians over the
// rounds.

#include "measure.h"
#include "transport.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using bench::Transport;

constexpr int frames_per_round = 400;
constexpr int rounds = 7;
constexpr uint64_t period_ns = 2000000; // 500 Hz

struct Latency {
    double p50_us;
    double p99_us;
};

Latency latency_of(std::vector<uint64_t> samples_ns) {
    std::sort(samples_ns.begin(), samples_ns.end());
    const auto at = [&](double share) {
        return static_cast<double>(
                   samples_ns[static_cast<size_t>(share * static_cast<double>(samples_ns.size() - 1))]) /
               1000.0;
    };
    return {at(0.5), at(0.99)};
}

/* A child that receives, and reports its latencies through `out`. */
[[noreturn]] void receive_all(Transport *transport, int index, int ready, int out) {
    transport->open_receiver(index);
    if (write(ready, "x", 1) != 1) {
        bench::fail("write");
    }
    std::vector<uint64_t> samples;
    samples.reserve(frames_per_round);
    for (int i = 0; i < frames_per_round; ++i) {
        const uint64_t sent_ns = transport->receive();
        samples.push_back(bench::now_ns() - sent_ns);
    }
    const size_t bytes = samples.size() * sizeof samples[0];
    _exit(write(out, samples.data(), bytes) == static_cast<ssize_t>(bytes) ? 0 : 1);
}

/* In a child of its own, so that nothing of a round outlives it. */
void produce(Transport *transport, uint32_t size, int receivers, int ready) {
    const pid_t child = fork();
    if (child == 0) {
        transport->open_sender();
        char byte;
        for (int i = 0; i < receivers; ++i) {
            if (read(ready, &byte, 1) != 1) {
                _exit(1);
            }
        }
        uint64_t next_ns = bench::now_ns() + period_ns;
        for (int i = 0; i < frames_per_round; ++i, next_ns += period_ns) {
            bench::wait_until_ns(next_ns);
            transport->send(size);
        }
        usleep(50000); // the last frames are still being read
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0) {
        bench::fail("producer");
    }
}

/* One round: the latency at the last of the receivers. */
Latency measure(const std::function<std::unique_ptr<Transport>(int)> &make, uint32_t size, int receivers) {
    const std::unique_ptr<Transport> transport = make(receivers);
    int ready[2];
    if (pipe(ready) != 0) {
        bench::fail("pipe");
    }
    std::vector<int> results;
    std::vector<pid_t> children;
    for (int i = 0; i < receivers; ++i) {
        int out[2];
        if (pipe(out) != 0) {
            bench::fail("pipe");
        }
        const pid_t child = fork();
        if (child == 0) {
            receive_all(transport.get(), i, ready[1], out[1]);
        }
        close(out[1]);
        results.push_back(out[0]);
        children.push_back(child);
    }
    produce(transport.get(), size, receivers, ready[0]);
    Latency worst{0, 0};
    for (size_t i = 0; i < children.size(); ++i) {
        std::vector<uint64_t> samples(frames_per_round);
        if (read(results[i], samples.data(), samples.size() * sizeof samples[0]) <= 0) {
            bench::fail("receiver");
        }
        close(results[i]);
        waitpid(children[i], nullptr, 0);
        const Latency one = latency_of(samples);
        worst = {std::max(worst.p50_us, one.p50_us), std::max(worst.p99_us, one.p99_us)};
    }
    close(ready[0]);
    close(ready[1]);
    return worst;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

struct Contender {
    std::string name;
    std::function<std::unique_ptr<Transport>(int)> make;
    std::vector<double> p50_us;
    std::vector<double> p99_us;
};

void compare(uint32_t size, int receivers) {
    std::vector<Contender> contenders = {
        {"", bench::make_floor, {}, {}}, {"", bench::make_shbf, {}, {}}, {"", bench::make_socket, {}, {}}};
    for (int round = 0; round < rounds; ++round) {
        for (Contender &contender : contenders) {
            contender.name = contender.make(1)->name();
            const Latency latency = measure(contender.make, size, receivers);
            contender.p50_us.push_back(latency.p50_us);
            contender.p99_us.push_back(latency.p99_us);
        }
    }
    const double floor_us = median(contenders[0].p50_us);
    for (const Contender &contender : contenders) {
        std::printf("| %3u KB | %d | %-41s | %6.1f | %6.1f | %5.2f |\n", size / 1024, receivers,
                    contender.name.c_str(), median(contender.p50_us), median(contender.p99_us),
                    median(contender.p50_us) / floor_us);
        std::fflush(stdout);
    }
}

} // namespace

int main() {
    char directory[] = "/tmp/strell-bench-XXXXXX";
    if (mkdtemp(directory) == nullptr) {
        bench::fail("mkdtemp");
    }
    setenv("STRELL_RUN_DIR", directory, 1);
    std::printf("Latency to the last receiver, %d rounds of %d frames at 500 Hz, medians of the rounds\n\n",
                rounds, frames_per_round);
    std::printf(
        "| payload | receivers | transport | p50 us | p99 us | p50 / floor |\n|---|---|---|---|---|---|\n");
    for (const int receivers : {1, 4}) {
        for (const uint32_t size : {1024U, 10240U, 65536U}) {
            compare(size, receivers);
        }
    }
    unlink((std::string(directory) + "/bench_channel").c_str());
    rmdir(directory);
    return 0;
}
