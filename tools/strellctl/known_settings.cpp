#include "strellctl/known_settings.h"

#include "libdevice_kitv2.h"
#include "strellctl/wording.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <numeric>

namespace ctl {

namespace {

std::vector<std::string> choices_of(const char *limits) {
    std::vector<std::string> result(1);
    for (const char *letter = limits; *letter != '\0'; ++letter) {
        if (*letter == '|') {
            result.emplace_back();
        } else {
            result.back() += *letter;
        }
    }
    return result;
}

std::string choice_objection(const KnownSetting &setting, const std::string &value) {
    const std::vector<std::string> allowed = choices_of(setting.limits);
    return std::ranges::find(allowed, value) != allowed.end() ? "" : "is none of: " + joined(allowed);
}

/* The daemon would take the digits in front of anything else, or 0, for the number. */
std::string number_objection(const KnownSetting & /*setting*/, const std::string &value) {
    int32_t number = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    return error == std::errc() && end == value.data() + value.size() ? "" : "is no whole number";
}

/* Case matters: "us" would silently be taken for a region without a layout of its own. */
std::string region_objection(const KnownSetting & /*setting*/, const std::string &value) {
    const bool good =
        value.size() == 2 && std::ranges::all_of(value, [](char c) { return c >= 'A' && c <= 'Z'; });
    return good ? "" : "is no region: two capital letters, such as US";
}

struct ProfileLimit {
    const char *member;
    const int32_t (HotConfigObject::*numbers)[2];
    int32_t least;
    int32_t most;
};

constexpr ProfileLimit profile_limits[] = {
    {"pt", &HotConfigObject::pt, 0, 1},
    {"bps", &HotConfigObject::bps, 0, 11},
    {"fps", &HotConfigObject::fps, 1, 30},
    {"res", &HotConfigObject::res, 0, 4},
};

std::string profile_objection(const KnownSetting & /*setting*/, const std::string &value) {
    HotConfigObject profile{};
    if (hot_config_str_to_object(value.c_str(), &profile) != 0) {
        return R"(is no encoder profile: JSON such as {"id":0,"icon":0,"cch":0,"pt":[1,1],"bps":[7,0],)"
               R"("fps":[15,15],"res":[4,2]} (docs/formats/frames.md))";
    }
    for (const ProfileLimit &limit : profile_limits) {
        for (const int32_t number : profile.*limit.numbers) {
            if (number < limit.least || number > limit.most) {
                return format("has %d in \"%s\", which goes from %d to %d", number, limit.member, limit.least,
                              limit.most);
            }
        }
    }
    return "";
}

constexpr std::array table = {
    KnownSetting{"bind_status", "nvram", choice_objection, "ok|no", "no", Applies::at_once,
                 "ok: the camera has an owner; without one there is no video"},
    KnownSetting{"hot_config", "nvram", profile_objection, "JSON", "the sensor's own", Applies::after_reload,
                 "encoder profile: codec, bitrate, frame rate and size of both streams"},
    KnownSetting{"power", "nvram", choice_objection, "on|off", "on", Applies::at_once,
                 "off: switched off by its user"},
    KnownSetting{"watermark", "nvram", choice_objection, "on|off", "on", Applies::at_once,
                 "time stamp in the picture"},
    KnownSetting{"flip", "nvram", choice_objection, "on|off", "off", Applies::at_once, "picture upside down"},
    KnownSetting{"wdr", "nvram", choice_objection, "on|off", "off", Applies::at_once, "wide dynamic range"},
    KnownSetting{"hdr_switch", "nvram", choice_objection, "on|off", "off", Applies::at_start,
                 "high dynamic range: kept, but nothing goes by it so far"},
    KnownSetting{"flicker", "nvram", choice_objection, "50|60", "50", Applies::at_once,
                 "mains frequency in Hz, against flicker"},
    KnownSetting{"regioncode", "nvram", region_objection, "two capital letters", "none", Applies::at_once,
                 "layout of the time stamp: US, IN and HW have their own"},
    KnownSetting{"motion_detection_enable", "nvram", choice_objection, "on|off", "off", Applies::at_once,
                 "motion tracking: the camera follows what moves"},
    KnownSetting{"algo_sensitivity", "nvram", choice_objection, "lowest|normal", "normal",
                 Applies::while_it_runs, "sensitivity of the analytics (any other word means normal, too)"},
    KnownSetting{"motion_region", "nvram", number_objection, "a whole number", "the board's own",
                 Applies::while_it_runs, "sensitivity of motion detection, for the whole picture"},
    KnownSetting{"lsd_threshold", "nvram", number_objection, "a whole number", "the board's own",
                 Applies::while_it_runs, "loudness above which a sound is abnormal"},
    KnownSetting{"night_mode", "nvram", choice_objection, "0|1|2", "0", Applies::while_it_runs,
                 "infrared-cut filter, lamp and picture: 0 automatic, 1 always day, 2 always night"},
    KnownSetting{"hot_status", "mem", choice_objection, "changing|changed", "none", Applies::while_it_runs,
                 "how a new hot_config is applied; strellctl reload writes it"},
};

const char *when(Applies applies) {
    switch (applies) {
    case Applies::at_start:
        return "read when strell_v2 starts";
    case Applies::after_reload:
        return "read when strell_v2 starts, and taken over by strellctl reload";
    case Applies::at_once:
        return "taken over at once";
    default:
        return "taken over at once, but not read when strell_v2 starts";
    }
}

/* Levenshtein's: how many letters have to be changed, added or taken away. */
size_t distance(const std::string &one, const std::string &other) {
    std::vector<size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 1; i <= one.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= other.size(); ++j) {
            const size_t replaced = diagonal + (one[i - 1] == other[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

} // namespace

std::span<const KnownSetting> known_settings() {
    return table;
}

const KnownSetting *find_known_setting(const std::string &key) {
    const auto found = std::ranges::find_if(table, [&](const KnownSetting &row) { return key == row.key; });
    return found != table.end() ? &*found : nullptr;
}

const KnownSetting *find_known_setting(const SettingName &name) {
    const KnownSetting *known = find_known_setting(name.key);
    return known != nullptr && name.name_space == known->name_space && name.section == "default" ? known
                                                                                                 : nullptr;
}

std::string similar_key(const std::string &key) {
    constexpr size_t most_mistakes = 2;
    const auto mistakes = [&](const KnownSetting &row) { return distance(key, row.key); };
    const auto nearest = std::ranges::min_element(table, {}, mistakes);
    return mistakes(*nearest) <= most_mistakes ? nearest->key : "";
}

std::vector<std::string> choices(const KnownSetting &setting) {
    return setting.objection == choice_objection ? choices_of(setting.limits) : std::vector<std::string>();
}

std::string settings_help() {
    std::string text;
    for (const KnownSetting &row : table) {
        text += format("\n  %s\n      %s\n      values: %s; without one: %s; %s\n", row.key, row.text,
                       row.limits, row.otherwise, when(row.applies));
    }
    return text;
}

std::string next_step(const KnownSetting &setting) {
    switch (setting.applies) {
    case Applies::at_start:
        return "strell_v2 reads it when it starts";
    case Applies::after_reload:
        return "strellctl reload makes a running strell_v2 use it";
    case Applies::while_it_runs:
        return "strell_v2 takes it over while it runs, and does not read it when it starts";
    default:
        return "";
    }
}

} // namespace ctl
