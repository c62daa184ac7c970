// strellctl reload: makes the running daemon use the stored encoder profile.

#include "strellctl/all_commands.h"
#include "strellctl/clock.h"
#include "strellctl/failure.h"
#include "strellctl/interrupt.h"
#include "strellctl/known_settings.h"
#include "strellctl/output.h"
#include "strellctl/status_report.h"
#include "strellctl/store.h"
#include "strellctl/store_watch.h"
#include "strellctl/wording.h"

namespace ctl {

namespace {

const SettingName profile_name = {"nvram", "default", "hot_config"};
const SettingName progress_name = {"mem", "default", "hot_status"};
constexpr double answer_max_s = 10;

/* strell_v2 would go on with the profile it has, and say that it changed. */
void check_profile() {
    const std::optional<std::string> profile = Store().get(profile_name);
    if (!profile) {
        throw Failure("hot_config has no value: store a profile with strellctl set hot_config");
    }
    const KnownSetting *known = find_known_setting(profile_name);
    const std::string objection = known->objection(*known, *profile);
    if (!objection.empty()) {
        throw Failure("the stored hot_config " + objection);
    }
}

void check_daemon() {
    if (!query_channel(streams[0]).info) {
        throw Failure("strell_v2 does not run: it takes hot_config when it starts");
    }
}

} // namespace

int run_reload(const Arguments & /*arguments*/) {
    check_profile();
    check_daemon();
    const Interrupt interrupt;
    StoreWatch *watch = nullptr;
    StoreWatch store([&](const SettingName & /*name*/, const std::optional<std::string> &value) {
        if (value == "changed") {
            watch->stop();
        }
    });
    watch = &store;
    store.add(progress_name);
    const uint64_t began_us = monotonic_us();
    store.set(progress_name, "changing");
    switch (store.run(interrupt, answer_max_s)) {
    case StoreWatch::End::stopped:
        print_line(format("strell_v2 has handed the profile to the board, after %.2f s",
                          seconds_of(monotonic_us() - began_us)));
        return exit_good;
    case StoreWatch::End::interrupted:
        throw Failure("interrupted before strell_v2 has answered");
    default:
        throw Failure("strell_v2 has not answered for 10 s: see its log");
    }
}

} // namespace ctl
