// What the daemon's channels cost in memory: one process that publishes on six channels of the daemon's
// sizes, and receivers that are attached to all of them, frames on their way. Looked at from outside.

#include "channel_results.h"
#include "measure.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

namespace {

/* The largest buffers of the daemon's channels. The last one carries messages only. */
constexpr uint32_t capacities[] = {409600 + 32, 261120 + 32, 368640 + 64, 131072 + 32, 1280 + 32, 0};
constexpr int arena_buffers = 4;
constexpr uint64_t ms = 1000000; // in ns

struct Gate {
    std::atomic<bool> begun;
    std::atomic<bool> enough;                // receivers end; frames go on coming until they have
    std::atomic<bool> over;                  // the producer ends
    std::atomic<int> cycles[receivers_most]; // how often a receiver got a frame on every channel
};

struct Mappings {
    long private_kb = 0;                // written by this process and nobody else's
    std::map<std::string, long> shared; // memory that processes share, by device and inode: its size
};

/* What the kernel holds for a mapping of this size of this file. */
long held_kb(const std::string &path, long mapped_kb) {
    struct stat status {};
    // Memory files without a name are allocated in full here; of the others not every page need be there.
    return path.starts_with("/dev/shm/") && stat(path.c_str(), &status) == 0 ? status.st_blocks / 2
                                                                             : mapped_kb;
}

Mappings mappings_of(pid_t pid) {
    Mappings result;
    std::ifstream smaps("/proc/" + std::to_string(pid) + "/smaps");
    bool shared = false;
    for (std::string line; std::getline(smaps, line);) {
        unsigned long from = 0;
        unsigned long to = 0;
        char flags[5] = "";
        char device[16] = "";
        char inode[24] = "";
        int path_at = 0;
        if (std::sscanf(line.c_str(), "%lx-%lx %4s %*s %15s %23s %n", &from, &to, flags, device, inode,
                        &path_at) == 5) {
            const std::string path = line.substr(static_cast<size_t>(path_at));
            shared =
                path.starts_with("/memfd:") || path.starts_with("/dev/shm/") || path.starts_with("/dev/zero");
            if (shared) {
                long &size_kb = result.shared[std::string(device) + " " + inode];
                size_kb = std::max(size_kb, held_kb(path, static_cast<long>((to - from) / 1024)));
            }
        } else if (!shared && line.starts_with("Private_Dirty:")) {
            result.private_kb += std::atol(line.c_str() + line.find(':') + 1);
        }
    }
    return result;
}

using Channels = std::vector<std::unique_ptr<Transport>>;

Channels make_channels(const TransportKind &kind, int receivers) {
    Channels channels;
    for (const uint32_t capacity : capacities) {
        channels.push_back(
            kind.make({static_cast<int>(channels.size()), std::max(capacity, 64U), receivers}));
    }
    return channels;
}

void publish_on(const Channels &channels, const Gate *gate) {
    for (const auto &channel : channels) {
        channel->open_sender();
    }
    while (!gate->over) {
        for (size_t i = 0; capacities[i] != 0; ++i) {
            if (uint8_t *frame = channels[i]->prepare(capacities[i])) {
                std::fill(frame, frame + capacities[i], 1);
                channels[i]->publish(capacities[i]);
            }
        }
        wait_until_ns(now_ns() + 10 * ms);
    }
}

void receive_on(const Channels &channels, int index, Gate *gate) {
    for (const auto &channel : channels) {
        channel->open_receiver(index);
    }
    for (; !gate->enough; ++gate->cycles[index]) {
        for (size_t i = 0; capacities[i] != 0; ++i) {
            channels[i]->receive();
        }
    }
}

/* Works on the channels and gives them up in order: iceoryx and GStreamer have files to remove. */
template <typename Work>
pid_t in_child(const Gate *gate, Channels *channels, Work work) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        fail("fork");
    }
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        while (!gate->begun) {
            wait_until_ns(now_ns() + ms);
        }
        work();
        channels->clear();
        std::exit(0);
    }
    return child;
}

void wait_for_frames(const Gate &gate, int receivers) {
    const uint64_t deadline_ns = now_ns() + 30000 * ms;
    for (int i = 0; i < receivers; ++i) {
        while (gate.cycles[i] < 10) {
            if (now_ns() > deadline_ns) {
                errno = ETIMEDOUT;
                fail("frames on six channels");
            }
            wait_until_ns(now_ns() + 5 * ms);
        }
    }
}

/* Waits for the end of a process. The producer may be stuck in a socket that nobody reads any more. */
void end(pid_t child) {
    const uint64_t deadline_ns = now_ns() + 1000 * ms;
    while (waitpid(child, nullptr, WNOHANG) == 0) {
        if (now_ns() > deadline_ns) {
            kill(child, SIGKILL);
        }
        wait_until_ns(now_ns() + ms);
    }
}

struct Memory {
    long shared_kb = 0;
    long private_kb = 0; // what the processes took since they began; all of RouDi
    long sum_kb() const { return shared_kb + private_kb; }
};

Memory memory_of(const TransportKind &kind, int receivers, const RouDi *roudi) {
    static auto *gate = static_cast<Gate *>(
        mmap(nullptr, sizeof(Gate), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    gate->begun = false;
    gate->enough = false;
    gate->over = false;
    std::fill(std::begin(gate->cycles), std::end(gate->cycles), 0);
    const std::map<std::string, long> own = mappings_of(getpid()).shared; // the benchmark's
    Channels channels = make_channels(kind, receivers);
    std::vector<pid_t> children = {in_child(gate, &channels, [&] { publish_on(channels, gate); })};
    for (int i = 0; i < receivers; ++i) {
        children.push_back(in_child(gate, &channels, [&] { receive_on(channels, i, gate); }));
    }
    Memory memory;
    for (const pid_t child : children) {
        memory.private_kb -= mappings_of(child).private_kb;
    }
    gate->begun = true;
    wait_for_frames(*gate, receivers);
    std::map<std::string, long> shared;
    std::vector<pid_t> processes = children;
    if (roudi != nullptr) {
        processes.push_back(roudi->pid());
    }
    for (const pid_t process : processes) {
        const Mappings mappings = mappings_of(process);
        memory.private_kb += mappings.private_kb;
        shared.insert(mappings.shared.begin(), mappings.shared.end());
    }
    for (const auto &[inode, size_kb] : shared) {
        memory.shared_kb += own.count(inode) == 0 ? size_kb : 0;
    }
    gate->enough = true;
    for (int i = 1; i <= receivers; ++i) {
        end(children[static_cast<size_t>(i)]);
    }
    gate->over = true;
    end(children.front());
    return memory;
}

/* Room for as many buffers of each channel as the others have, and no more. */
std::string roudi_configuration() {
    const std::string path = std::string(std::getenv("STRELL_RUN_DIR")) + "/roudi.toml";
    std::ofstream file(path);
    file << "[general]\nversion = 1\n\n[[segment]]\n";
    std::vector<uint32_t> sizes(std::begin(capacities), std::end(capacities) - 1);
    std::sort(sizes.begin(), sizes.end());
    for (const uint32_t size : sizes) {
        file << "\n[[segment.mempool]]\nsize = " << size << "\ncount = " << arena_buffers << "\n";
    }
    return path;
}

} // namespace

void compare_memory(const std::vector<TransportKind> &kinds) {
    constexpr int few = 4;
    constexpr int many = 8;
    std::printf("\nMemory of six channels with the daemon's sizes (409632, 261152, 368704, 131104 and 1312 "
                "bytes, and one\nwithout frames), %d receivers on each. Private: what the producer's and the "
                "receivers' processes took since\ntheir start. What the kernel holds for sockets is not "
                "seen.\n\n| transport | shared KB | private KB | together KB | for each receiver more: KB "
                "|\n|---|---|---|---|---|\n",
                few);
    for (const TransportKind &kind : kinds) {
        Memory first;
        Memory second;
        {
            const std::unique_ptr<RouDi> roudi = roudi_for({kind}, roudi_configuration());
            first = memory_of(kind, few, roudi.get());
        }
        {
            const std::unique_ptr<RouDi> roudi = roudi_for({kind}, roudi_configuration());
            second = memory_of(kind, many, roudi.get());
        }
        std::printf("| %s | %ld | %ld | %ld | %ld |\n", kind.name, first.shared_kb, first.private_kb,
                    first.sum_kb(), (second.sum_kb() - first.sum_kb()) / (many - few));
        std::fflush(stdout);
    }
}

} // namespace bench
