#include "channel_plan.h"

#include "measure.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <sstream>

namespace bench {

namespace {

constexpr uint32_t kb = 1024;
constexpr int camera_hz = 25;
constexpr int fast_hz = 500;
constexpr int flat_out = 0;

const char *const usage = R"(usage: ./dev bench channels [OPTIONS]

  --all              every payload, number of receivers, rate and placing: takes an hour
  --payload KB,...   other payloads (up to 400); --receivers N,... (up to 8); --rate HZ,... (0: flat out);
                     --place free,pinned. With one of them, all combinations of what is named, and 64 KB,
                     1 receiver, 500 Hz, free for what is not
  --touch            the producer writes and receivers read every byte of those
  --rounds N         how often each of those (5)
  --transport KEY,.. only these transports, and the floor
  --memory           only the memory of six channels
  --syscalls         only the system calls, of the floor, this library and iceoryx
  --plot FILE        also draw the latencies of the standard run as an SVG
)";

[[noreturn]] void refuse(const std::string &what) {
    std::fprintf(stderr, "bench: %s\n%s", what.c_str(), usage);
    std::exit(2);
}

std::vector<std::string> split(const std::string &list) {
    std::vector<std::string> words;
    std::stringstream stream(list);
    for (std::string word; std::getline(stream, word, ',');) {
        words.push_back(word);
    }
    return words;
}

std::vector<int> numbers(const std::string &list, int least, int most) {
    std::vector<int> result;
    for (const std::string &word : split(list)) {
        char *rest = nullptr;
        const long value = std::strtol(word.c_str(), &rest, 10);
        if (word.empty() || *rest != '\0' || value < least || value > most) {
            refuse("not a number from " + std::to_string(least) + " to " + std::to_string(most) + ": " +
                   word);
        }
        result.push_back(static_cast<int>(value));
    }
    return result;
}

int frames_of(int rate_hz) {
    if (rate_hz == flat_out) {
        return frames_most;
    }
    return std::clamp(rate_hz / 2, 40, frames_most);
}

/* How all that the tables and the summary need is covered within some minutes. */
std::vector<Planned> standard_loads() {
    struct Part {
        uint32_t payload_kb;
        int receivers;
        int rate_hz;
        bool whole;
        int rounds;
        bool also_pinned;
    };
    constexpr Part parts[] = {
        {64, 1, fast_hz, false, 9, true},   {64, 4, fast_hz, false, 9, true},
        {10, 1, fast_hz, false, 5, true},   {400, 1, fast_hz, false, 5, true},
        {1, 1, fast_hz, false, 3, false},   {40, 1, fast_hz, false, 3, false},
        {400, 1, fast_hz, true, 3, false},  {64, 2, fast_hz, false, 3, false},
        {64, 8, fast_hz, false, 3, false},  {40, 4, camera_hz, false, 3, false},
        {64, 1, flat_out, false, 5, false}, {400, 4, flat_out, false, 3, false},
    };
    std::vector<Planned> loads;
    for (const Part &part : parts) {
        Load load = {part.payload_kb * kb, part.receivers,         part.rate_hz, false,
                     part.whole,           frames_of(part.rate_hz)};
        loads.push_back({load, part.rounds});
        if (part.also_pinned) {
            load.pinned = true;
            loads.push_back({load, part.rounds});
        }
    }
    return loads;
}

struct Axes {
    std::vector<int> payloads_kb = {64};
    std::vector<int> receivers = {1};
    std::vector<int> rates_hz = {fast_hz};
    std::vector<std::string> places = {"free"};
    bool touch = false;
    int rounds = 5;
};

std::vector<Planned> product(const Axes &axes) {
    std::vector<Planned> loads;
    for (const int rate_hz : axes.rates_hz) {
        for (const int receivers : axes.receivers) {
            for (const int payload_kb : axes.payloads_kb) {
                for (const std::string &place : axes.places) {
                    if (place != "free" && place != "pinned") {
                        refuse("no such place: " + place);
                    }
                    loads.push_back({{static_cast<uint32_t>(payload_kb) * kb, receivers, rate_hz,
                                      place == "pinned", axes.touch, frames_of(rate_hz)},
                                     axes.rounds});
                }
            }
        }
    }
    return loads;
}

std::vector<TransportKind> chosen_kinds(const std::string &keys) {
    const std::vector<std::string> wanted = split(keys);
    std::vector<TransportKind> kinds;
    for (const TransportKind &kind : transport_kinds()) {
        const bool named = std::find(wanted.begin(), wanted.end(), kind.key) != wanted.end();
        // Behind poll() is for who asks for it: the table of system calls has it anyhow.
        const bool usual = keys.empty() && std::strcmp(kind.key, "strell-poll") != 0;
        if (named || usual || kinds.empty()) {
            kinds.push_back(kind);
        }
    }
    for (const std::string &key : wanted) {
        if (std::none_of(kinds.begin(), kinds.end(),
                         [&](const TransportKind &kind) { return key == kind.key; })) {
            refuse("no such transport, or its packages are not installed: " + key);
        }
    }
    return kinds;
}

} // namespace

Plan plan_from(int argc, char **argv) {
    Plan plan;
    Axes axes;
    std::string keys;
    const auto only = [&](bool memory, bool system_calls) {
        plan.memory = memory;
        plan.system_calls = system_calls;
        plan.standard = false;
    };
    bool combinations = false;
    const auto combine = [&] {
        only(false, false);
        combinations = true;
    };
    const std::map<std::string, std::function<void()>> flags = {
        {"--all",
         [&] {
             combine();
             axes = {
                 {1, 10, 40, 64, 400}, {1, 2, 4, 8}, {15, camera_hz, fast_hz, flat_out}, {"free", "pinned"}};
         }},
        {"--touch", [&] { combine(), axes.touch = true; }},
        {"--memory", [&] { only(true, false); }},
        {"--syscalls", [&] { only(false, true); }},
    };
    const std::map<std::string, std::function<void(const std::string &)>> options = {
        {"--payload", [&](auto &list) { combine(), axes.payloads_kb = numbers(list, 1, frame_max / kb); }},
        {"--receivers", [&](auto &list) { combine(), axes.receivers = numbers(list, 1, receivers_most); }},
        {"--rate", [&](auto &list) { combine(), axes.rates_hz = numbers(list, 0, 10000); }},
        {"--place", [&](auto &list) { combine(), axes.places = split(list); }},
        {"--rounds", [&](auto &list) { axes.rounds = numbers(list, 1, 1000).front(); }},
        {"--transport", [&](auto &list) { keys = list; }},
        {"--plot", [&](auto &file) { plan.plot = file; }},
    };
    plan.command = "./dev bench channels";
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        plan.command += " " + word;
        if (word == "--help") {
            std::fputs(usage, stdout);
            std::exit(0);
        } else if (flags.count(word) != 0) {
            flags.at(word)();
        } else if (options.count(word) != 0 && i + 1 < argc) {
            plan.command += std::string(" ") + argv[i + 1];
            options.at(word)(argv[++i]);
        } else {
            refuse("not understood: " + word);
        }
    }
    plan.kinds = chosen_kinds(keys);
    if (plan.standard) {
        plan.loads = standard_loads();
    } else if (combinations) {
        plan.loads = product(axes);
    }
    for (Planned &planned : plan.loads) {
        planned.rounds = scaled(planned.rounds, 1);
    }
    return plan;
}

} // namespace bench
