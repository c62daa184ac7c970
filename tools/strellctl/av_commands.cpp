#include "strellctl/av_commands.h"

#include "strellctl/wording.h"

#include <algorithm>
#include <array>

namespace ctl {

namespace {

constexpr size_t motion_regions = 32;
constexpr std::array off_on = {"off", "on"};
constexpr std::array day_night = {"day", "night"};
// Widest where a range holds: it is the daemon that refuses.
constexpr std::array<uint32_t, 8> bitrate_defaults = {0, 0, 0, 100, 1, 51, 0, 0};
constexpr std::array<uint32_t, 8> white_balance_defaults = {};

constexpr std::array table = {
    AvCommand{.name = "md-sensitivity",
              .code = 0x1001,
              .synopsis = "VALUE [31 more]",
              .summary =
                  "sensitivity of motion detection, 0 off, 1 least to 5 most, for all or each of 32 regions",
              .payload = AvPayload::bytes,
              .least_values = 1,
              .most_values = motion_regions},
    AvCommand{"md-on", 0x1005, "", "motion detection on"},
    AvCommand{"md-off", 0x1007, "", "motion detection off"},
    AvCommand{"osd-on", 0x1009, "", "shows the time stamp"},
    AvCommand{"osd-off", 0x100b, "", "hides the time stamp"},
    AvCommand{"wdr-on", 0x100d, "", "wide dynamic range on"},
    AvCommand{"wdr-off", 0x100f, "", "wide dynamic range off"},
    AvCommand{"flip-on", 0x1011, "", "picture upside down"},
    AvCommand{"flip-off", 0x1013, "", "picture upright"},
    AvCommand{.name = "dnmode-get",
              .code = 0x1016,
              .synopsis = "",
              .summary = "day or night mode of the picture",
              .reply = AvReply::choice,
              .choices = day_night},
    AvCommand{.name = "dnmode-set",
              .code = 0x1018,
              .synopsis = "day|night",
              .summary = "changes the mode, which takes its time: dnmode-get tells what became of it",
              .least_values = 1,
              .most_values = 1,
              .choices = day_night},
    AvCommand{"ev-get", 0x101a, "", "the board's exposure record, 7 words", AvReply::numbers},
    AvCommand{"wb-get", 0x101e, "", "the board's white balance record, 8 words", AvReply::numbers},
    AvCommand{.name = "wb-set",
              .code = 0x1020,
              .synopsis = "W0 [W1 ... W7]",
              .summary = "sets the white balance record; words left out are 0",
              .least_values = 1,
              .most_values = white_balance_defaults.size(),
              .defaults = white_balance_defaults},
    AvCommand{.name = "speaker-volume",
              .code = 0x1022,
              .synopsis = "N",
              .summary = "volume, 0 to 100",
              .reply = AvReply::none,
              .least_values = 1,
              .most_values = 1},
    AvCommand{"speaker-talking", 0x1023, "", "the volume for talk-back", AvReply::none},
    AvCommand{"speaker-default", 0x1024, "", "the volume for everything else", AvReply::none},
    AvCommand{.name = "bitrate",
              .code = 0x1025,
              .synopsis = "CHANNEL BITRATE [W2 ... W7]",
              .summary = "bit rate of encoder channel 0 to 3; words left out are 0 100 1 51 0 0",
              .least_values = 2,
              .most_values = bitrate_defaults.size(),
              .defaults = bitrate_defaults},
    AvCommand{.name = "ir-lamp",
              .code = 0x1027,
              .synopsis = "off|on",
              .summary = "the infrared lamp",
              .least_values = 1,
              .most_values = 1,
              .choices = off_on},
    AvCommand{"motor-move", 0x1029, "", "is acknowledged, and moves nothing"},
    AvCommand{.name = "track",
              .code = 0x102b,
              .synopsis = "X Y W H",
              .summary = "draws the tracking rectangle (-- in front of what is negative)",
              .least_values = 4,
              .most_values = 4},
    AvCommand{"track-off", 0x102d, "", "removes the tracking rectangle"},
};

} // namespace

std::span<const AvCommand> av_commands() {
    return table;
}

const AvCommand *find_av_command(const std::string &name) {
    const auto found = std::ranges::find_if(table, [&](const AvCommand &row) { return name == row.name; });
    return found != table.end() ? &*found : nullptr;
}

const AvCommand *find_av_command(uint32_t code) {
    const auto found = std::ranges::find(table, code, &AvCommand::code);
    return found != table.end() ? &*found : nullptr;
}

std::string av_commands_help() {
    std::string text = "\nNAME is one of:\n";
    for (const AvCommand &row : table) {
        const std::string left = std::string(row.name) + " " + row.synopsis;
        text += format("  %-37s 0x%04x  %s%s\n", left.c_str(), row.code, row.summary,
                       row.reply == AvReply::none ? " (not acknowledged)" : "");
    }
    return text;
}

} // namespace ctl
