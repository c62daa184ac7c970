// The table of commands.

#include "strellctl/all_commands.h"

#include <algorithm>
#include <array>

namespace ctl {

namespace {

constexpr Option json_option = {"--json", nullptr, "for programs; docs/strellctl.md lists the members"};
constexpr Option force_option = {"--force", nullptr, "stores it unchecked"};

constexpr std::array status_options = {
    Option{"--follow", nullptr, "goes on until Ctrl-C, one live line for each stream"}, json_option};
constexpr std::array watch_options = {Option{"-t", "SECONDS", "ends after so long; otherwise at Ctrl-C"},
                                      json_option};
constexpr std::array set_options = {force_option};
constexpr std::array list_options = {Option{
    "--known", nullptr, "every setting that strell_v2 reads, what it does, its value or (what holds)"}};

constexpr char status_details[] =
    R"(Shows who serves the video channels and how many receive them, the software board, and the settings store.
Exit status 1 when strell_v2 or the store is not there.

With --follow it attaches to both streams, as any receiver does, and shows size, codec, frame rate and bitrate
each second. strell_v2 may come and go meanwhile. In a pipe it prints a line for each stream when something has
changed, and every 10 seconds.
)";

constexpr char watch_details[] =
    R"(Attaches to a stream and shows each second: frame rate (over 2 s), bitrate (over 4 s), time from key frame to
key frame, latency from capture to receipt, and frames lost on the way. A summary comes at the end.
)";

constexpr char get_details[] =
    R"(Prints the value of a setting. NAME is a key such as flip, or NAMESPACE:KEY, or NAMESPACE:SECTION:KEY.
)";

constexpr char set_details[] =
    R"(Stores a value. It is safe from a power cut when the command returns, unless the setting lives in memory (mem:).
What strell_v2 reads is checked first; a value or key that makes no sense to it is refused.
)";

constexpr char unset_details[] =
    R"(Takes the value of a setting away, so that what strell_v2 takes by itself holds again.
)";

constexpr char list_details[] = R"(Lists what is stored.
)";

constexpr std::array table = {
    Command{"status", "[--follow] [--json]", "channels, board and store", status_details, status_options,
            Words::none, 0, 0, run_status},
    Command{"watch", "main|sub [-t SECONDS] [--json]", "how a stream runs, live", watch_details,
            watch_options, Words::streams, 1, 1, run_watch},
    Command{"get", "NAME", "the value of a setting", get_details, {}, Words::settings, 1, 1, run_get},
    Command{"set", "NAME VALUE [--force]", "gives a setting a value", set_details, set_options,
            Words::settings, 2, 2, run_set},
    Command{"unset",
            "NAME",
            "takes the value of a setting away",
            unset_details,
            {},
            Words::settings,
            1,
            1,
            run_unset},
    Command{"list", "[--known]", "the settings and their values", list_details, list_options, Words::none, 0,
            0, run_list},
};

} // namespace

std::span<const Command> commands() {
    return table;
}

const Command *find_command(const std::string &name) {
    const auto found = std::ranges::find_if(table, [&](const Command &row) { return name == row.name; });
    return found != table.end() ? &*found : nullptr;
}

} // namespace ctl
