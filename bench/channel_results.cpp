#include "channel_results.h"

#include <algorithm>
#include <cstdio>

namespace bench {

double Result::median(double Round::*figure) const {
    std::vector<double> values;
    for (const Round &round : rounds) {
        values.push_back(round.*figure);
    }
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

const Result *Comparison::of(const std::string &key) const {
    for (const Result &result : results) {
        if (result.kind.key == key) {
            return &result;
        }
    }
    return nullptr;
}

std::string describe(const Load &load) {
    char text[128];
    std::snprintf(text, sizeof text, "%u KB%s, %d receiver%s, %s, %s", load.size / 1024,
                  load.whole ? " written and read whole" : "", load.receivers, load.receivers == 1 ? "" : "s",
                  load.rate_hz == 0 ? "flat out" : (std::to_string(load.rate_hz) + " Hz").c_str(),
                  load.pinned ? "one core" : "free");
    return text;
}

namespace {

/* Of those that `counts` takes, the one with the least of the figure; null when there is none. */
template <typename Predicate>
const Result *best(const Comparison &comparison, double Round::*figure, Predicate counts) {
    const Result *found = nullptr;
    for (const Result &result : comparison.results) {
        if (counts(result.kind) && (found == nullptr || result.median(figure) < found->median(figure))) {
            found = &result;
        }
    }
    return found;
}

/* "1.23", or "-" without a denominator. */
std::string ratio(double figure, const Result *to, double Round::*of) {
    if (to == nullptr || to->median(of) <= 0) {
        return "-";
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", figure / to->median(of));
    return text;
}

void print_paced(const Comparison &comparison) {
    const auto latency = &Round::latency_p50_us;
    const Result *floor = comparison.of("floor");
    const Result *peer = best(comparison, latency, [](const TransportKind &kind) { return kind.peer; });
    for (const Result &result : comparison.results) {
        const auto of = [&](double Round::*figure) { return result.median(figure); };
        std::printf("| %s | %s | %.1f | %.1f | %.0f | %.1f | %.1f | %.1f | %.1f | %.2f | %s | %s | %s |\n",
                    describe(comparison.load).c_str(), result.kind.name, of(latency),
                    of(&Round::latency_p99_us), of(&Round::latency_max_us), of(&Round::publish_p50_us),
                    of(&Round::publish_p99_us), of(&Round::sender_cpu_us), of(&Round::receiver_cpu_us),
                    of(&Round::lost) * 100, ratio(of(latency), floor, latency).c_str(),
                    ratio(of(&Round::latency_p99_us), floor, &Round::latency_p99_us).c_str(),
                    ratio(of(latency), peer, latency).c_str());
    }
}

void print_flat_out(const Comparison &comparison) {
    const auto rate = &Round::received_hz;
    for (const Result &result : comparison.results) {
        const auto of = [&](double Round::*figure) { return result.median(figure); };
        std::printf("| %s | %s | %.0f | %.0f | %.0f | %.1f | %.1f | %s |\n",
                    describe(comparison.load).c_str(), result.kind.name, of(rate), of(&Round::latency_p50_us),
                    of(&Round::latency_p99_us), of(&Round::publish_p50_us), of(&Round::receiver_cpu_us),
                    ratio(of(rate), comparison.of("floor"), rate).c_str());
    }
}

} // namespace

void print_tables(const std::vector<Comparison> &comparisons) {
    const auto flat_out = [](const Comparison &one) { return one.load.rate_hz == 0; };
    if (!std::all_of(comparisons.begin(), comparisons.end(), flat_out)) {
        std::puts(
            "\nEvery frame at its time: latency to the last of the receivers, medians of the rounds.\n\n"
            "| load | transport | p50 us | p99 us | max us | publish p50 us | publish p99 us | sender: us "
            "of processor per frame and receiver | receiver: us per frame | lost % | p50 / floor | p99 / "
            "floor | p50 / best peer |\n|---|---|---|---|---|---|---|---|---|---|---|---|---|");
        for (const Comparison &comparison : comparisons) {
            if (!flat_out(comparison)) {
                print_paced(comparison);
            }
        }
    }
    if (std::any_of(comparisons.begin(), comparisons.end(), flat_out)) {
        std::puts(
            "\nAs fast as it goes: who does not wait for receivers lets them miss frames.\n\n"
            "| load | transport | frames/s at the slowest receiver | p50 us | p99 us | publish p50 us | "
            "receiver: us of processor per frame | frames/s / floor |\n|---|---|---|---|---|---|---|---|");
        for (const Comparison &comparison : comparisons) {
            if (flat_out(comparison)) {
                print_flat_out(comparison);
            }
        }
    }
}

namespace {

class Summary {
  public:
    explicit Summary(const std::vector<Comparison> &comparisons) : comparisons_(comparisons) {}

    /* This library beside another transport under the same load, at 500 Hz. */
    void against(uint32_t payload_kb, int receivers, bool pinned, const char *figure_name,
                 double Round::*figure, const std::string &key) const {
        const Comparison *comparison = find(payload_kb, receivers, pinned);
        if (comparison != nullptr) {
            row(describe(comparison->load), figure_name, figure, comparison->of("strell"),
                comparison->of(key));
        }
    }
    void against_copies(uint32_t payload_kb, int receivers, bool pinned, const char *figure_name,
                        double Round::*figure) const {
        const Comparison *comparison = find(payload_kb, receivers, pinned);
        if (comparison != nullptr) {
            row(describe(comparison->load), figure_name, figure, comparison->of("strell"),
                best(*comparison, figure, [](const TransportKind &kind) { return kind.copies; }));
        }
    }
    /* This library with large frames beside itself with small ones. */
    void sizes(uint32_t large_kb, uint32_t small_kb, bool pinned) const {
        const Comparison *large = find(large_kb, 1, pinned);
        const Comparison *small = find(small_kb, 1, pinned);
        if (large != nullptr && small != nullptr) {
            row(describe(large->load) + " against " + std::to_string(small_kb) + " KB", "p50",
                &Round::latency_p50_us, large->of("strell"), small->of("strell"));
        }
    }

  private:
    const Comparison *find(uint32_t payload_kb, int receivers, bool pinned) const {
        for (const Comparison &one : comparisons_) {
            if (one.load.size == payload_kb * 1024 && one.load.receivers == receivers &&
                one.load.pinned == pinned && one.load.rate_hz == 500 && !one.load.whole) {
                return &one;
            }
        }
        return nullptr;
    }
    static void row(const std::string &load, const char *figure_name, double Round::*figure,
                    const Result *strell, const Result *other) {
        if (strell != nullptr && other != nullptr) {
            std::printf("| %s | %s | %.1f | %s | %.1f | %s |\n", load.c_str(), figure_name,
                        strell->median(figure), other->kind.name, other->median(figure),
                        ratio(strell->median(figure), other, figure).c_str());
        }
    }

    const std::vector<Comparison> &comparisons_;
};

} // namespace

void print_summary(const std::vector<Comparison> &comparisons) {
    std::puts("\nIn short: this library beside another transport of the same run.\n\n"
              "| load | figure | strell us | beside | us | ratio |\n|---|---|---|---|---|---|");
    const Summary summary(comparisons);
    for (const bool pinned : {false, true}) {
        for (const char *key : {"floor", "iceoryx"}) {
            summary.against(64, 1, pinned, "p50", &Round::latency_p50_us, key);
            summary.against(64, 1, pinned, "p99", &Round::latency_p99_us, key);
        }
    }
    for (const bool pinned : {false, true}) {
        summary.against(64, 4, pinned, "p50", &Round::latency_p50_us, "floor");
        summary.against(64, 4, pinned, "p50", &Round::latency_p50_us, "iceoryx");
        summary.against(64, 4, pinned, "publish p50", &Round::publish_p50_us, "iceoryx");
    }
    for (const bool pinned : {true, false}) {
        summary.against_copies(400, 1, pinned, "p50", &Round::latency_p50_us);
        summary.against_copies(400, 1, pinned, "p99", &Round::latency_p99_us);
    }
    summary.sizes(400, 10, false);
    summary.sizes(400, 10, true);
}

} // namespace bench
