// System calls for each frame: strace watches every process of a round, and what it wrote between the two
// marks of a process (run_round) is counted.

#include "channel_results.h"
#include "measure.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr int frames = 250;
constexpr const char *marking_call = "getpgid";

std::string log_of(size_t process) {
    return std::string(std::getenv("STRELL_RUN_DIR")) + "/strace" + std::to_string(process);
}

bool is_traced(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("TracerPid:")) {
            return std::atoi(line.c_str() + line.find(':') + 1) != 0;
        }
    }
    return false;
}

/* Follows the process, and all threads that it makes, to its end. */
pid_t trace(pid_t pid, const std::string &log) {
    const pid_t tracer = fork();
    if (tracer == 0) {
        execlp("strace", "strace", "-f", "-qq", "-o", log.c_str(), "-p", std::to_string(pid).c_str(),
               nullptr);
        _exit(127);
    }
    const uint64_t deadline_ns = now_ns() + 10000000000;
    while (!is_traced(pid)) {
        if (now_ns() > deadline_ns) {
            std::fputs("bench: strace cannot attach\n", stderr);
            std::exit(1);
        }
        wait_until_ns(now_ns() + 1000000);
    }
    return tracer;
}

using Calls = std::map<std::string, int>;

/* "1234  futex(0x7f..." is one; "1234  <... futex resumed>" is the end of one that began on another line. */
Calls calls_between_marks(const std::string &log) {
    std::ifstream file(log);
    Calls calls;
    int marks = 0;
    for (std::string line; std::getline(file, line);) {
        const size_t begin = line.find_first_not_of("0123456789 ");
        const size_t end = line.find('(');
        if (begin == std::string::npos || end == std::string::npos || end < begin || line[begin] == '<') {
            continue;
        }
        const std::string name = line.substr(begin, end - begin);
        if (name == marking_call) {
            ++marks;
        } else if (marks == 1) {
            ++calls[name];
        }
    }
    return calls;
}

/* "1.00 (futex 1.00)" */
std::string per_frame(const Calls &calls, int processes) {
    std::string list;
    double sum = 0;
    for (const auto &[name, count] : calls) {
        const double each = static_cast<double>(count) / frames / processes;
        sum += each;
        if (each >= 0.005) {
            char text[64];
            std::snprintf(text, sizeof text, "%s%s %.2f", list.empty() ? "" : ", ", name.c_str(), each);
            list += text;
        }
    }
    char text[64];
    std::snprintf(text, sizeof text, "%.2f", sum);
    return text + (list.empty() ? "" : " (" + list + ")");
}

void count(const TransportKind &kind, int receivers) {
    std::vector<pid_t> tracers;
    run_round(kind, {65536, receivers, 500, false, false, frames}, [&](const std::vector<pid_t> &processes) {
        for (size_t i = 0; i < processes.size(); ++i) {
            tracers.push_back(trace(processes[i], log_of(i)));
        }
    });
    for (const pid_t tracer : tracers) {
        waitpid(tracer, nullptr, 0);
    }
    Calls receiving;
    for (int i = 0; i < receivers; ++i) {
        for (const auto &[name, number] : calls_between_marks(log_of(static_cast<size_t>(i)))) {
            receiving[name] += number;
        }
    }
    Calls sending = calls_between_marks(log_of(static_cast<size_t>(receivers)));
    sending.erase("clock_nanosleep"); // the benchmark's own, to keep the pace
    std::printf("| %s | %d | %s | %s |\n", kind.name, receivers, per_frame(sending, 1).c_str(),
                per_frame(receiving, receivers).c_str());
    std::fflush(stdout);
}

} // namespace

void count_system_calls() {
    std::puts("\nSystem calls for each frame at 500 Hz, counted by strace, which slows all of them down.\n");
    if (std::system("command -v strace >/dev/null") != 0) {
        std::puts("strace is not installed (--peers does it).");
        return;
    }
    std::puts("| transport | receivers | in the sender | in each receiver |\n|---|---|---|---|");
    std::vector<TransportKind> kinds;
    for (const TransportKind &kind : transport_kinds()) {
        if (!kind.peer || kind.key == std::string("iceoryx")) {
            kinds.push_back(kind);
        }
    }
    const std::unique_ptr<RouDi> roudi = roudi_for(kinds);
    for (const TransportKind &kind : kinds) {
        for (const int receivers : {1, 4}) {
            count(kind, receivers);
        }
    }
}

} // namespace bench
