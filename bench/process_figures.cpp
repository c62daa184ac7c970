#include "process_figures.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

/* "7f00-7f01 r--p 0 0:1 5 /memfd:shbf-..." begins what is said about a mapping, "Rss: 4 kB" is a part of it.
 */
bool begins_mapping(const std::string &line) {
    const size_t dash = line.find_first_not_of("0123456789abcdef");
    return dash != std::string::npos && dash > 0 && line[dash] == '-';
}

long private_kb_of(const std::string &process) {
    std::ifstream mappings(process + "/smaps");
    std::string line;
    bool shared_with_receivers = false;
    long sum_kb = 0;
    while (std::getline(mappings, line)) {
        if (begins_mapping(line)) {
            shared_with_receivers = line.find("memfd:shbf") != std::string::npos;
        } else if (!shared_with_receivers &&
                   (line.starts_with("Private_Clean:") || line.starts_with("Private_Dirty:"))) {
            sum_kb += std::atol(line.c_str() + line.find(':') + 1);
        }
    }
    if (sum_kb == 0) {
        throw std::runtime_error("the daemon has ended");
    }
    return sum_kb;
}

int entries_of(const std::string &directory) {
    int count = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator(directory)) {
        ++count;
    }
    return count;
}

} // namespace

ProcessFigures figures_of(pid_t pid) {
    const std::string process = "/proc/" + std::to_string(pid);
    return {private_kb_of(process), entries_of(process + "/fd"), entries_of(process + "/task")};
}

ProcessFigures settled_figures_of(pid_t pid) {
    const auto deadline = Clock::now() + 20s;
    ProcessFigures last = figures_of(pid);
    auto unchanged_since = Clock::now();
    while (Clock::now() < deadline && Clock::now() < unchanged_since + 2s) {
        std::this_thread::sleep_for(100ms);
        const ProcessFigures now = figures_of(pid);
        if (now != last) {
            last = now;
            unchanged_since = Clock::now();
        }
    }
    return last;
}

} // namespace bench
