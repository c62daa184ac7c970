// How frames come from the producer to receivers in other processes, side by side: all transports in turn
// under each load, round after round over all the loads, so that what the machine does meanwhile meets them
// all alike. Medians over the rounds.

#include "channel_results.h"
#include "measure.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace {

using namespace bench;

std::vector<Comparison> measure(const Plan &plan) {
    std::vector<Comparison> comparisons;
    int rounds = 0;
    for (const Planned &planned : plan.loads) {
        comparisons.push_back({planned.load, {}});
        for (const TransportKind &kind : plan.kinds) {
            comparisons.back().results.push_back({kind, {}});
        }
        rounds = std::max(rounds, planned.rounds);
    }
    for (int round = 0; round < rounds; ++round) {
        for (size_t i = 0; i < plan.loads.size(); ++i) {
            if (round >= plan.loads[i].rounds) {
                continue;
            }
            std::fprintf(stderr, "bench: round %d of %d: %s\n", round + 1, rounds,
                         describe(plan.loads[i].load).c_str());
            for (Result &result : comparisons[i].results) {
                if (const auto measured = run_round(result.kind, plan.loads[i].load)) {
                    result.rounds.push_back(*measured);
                }
            }
        }
    }
    for (Comparison &comparison : comparisons) {
        std::erase_if(comparison.results, [](const Result &result) { return result.rounds.empty(); });
    }
    return comparisons;
}

/* A directory for sockets, gone with this. */
class RunDirectory {
  public:
    RunDirectory() {
        if (mkdtemp(path_) == nullptr) {
            fail("mkdtemp");
        }
        setenv("STRELL_RUN_DIR", path_, 1);
    }
    ~RunDirectory() { std::filesystem::remove_all(path_); }

  private:
    char path_[32] = "/tmp/strell-bench-XXXXXX";
};

} // namespace

int main(int argc, char **argv) {
    const Plan plan = plan_from(argc, argv);
    const RunDirectory directory;
    if (!plan.loads.empty()) {
        const std::unique_ptr<RouDi> roudi = roudi_for(plan.kinds);
        const std::vector<Comparison> comparisons = measure(plan);
        if (plan.standard) {
            print_summary(comparisons);
        }
        print_tables(comparisons);
        if (!plan.plot.empty()) {
            write_plot(plan.plot, comparisons, plan.command);
        }
    }
    if (plan.memory) {
        compare_memory(plan.kinds);
    }
    if (plan.system_calls) {
        count_system_calls();
    }
    return 0;
}
