#include "strellctl/known_settings.h"

#include "libdevice_kitv2.h"
#include "strellctl/wording.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <vector>

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
    const std::vector<std::string> choices = choices_of(setting.limits);
    return std::ranges::find(choices, value) != choices.end() ? "" : "is none of: " + joined(choices);
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
                 "high dynamic range"},
    KnownSetting{"flicker", "nvram", choice_objection, "50|60", "50", Applies::at_once,
                 "mains frequency in Hz, against flicker"},
    KnownSetting{"regioncode", "nvram", region_objection, "two capital letters", "none", Applies::at_once,
                 "layout of the time stamp: US, IN and HW have their own"},
    KnownSetting{"night_mode", "nvram", choice_objection, "0|1|2", "0", Applies::at_once,
                 "0 day and night by the light, 1 day, 2 night"},
    KnownSetting{"motion_detection_enable", "nvram", choice_objection, "on|off", "off", Applies::at_start,
                 "motion tracking"},
    KnownSetting{"hot_status", "mem", choice_objection, "changing|changed", "none", Applies::at_once,
                 "how a new hot_config is applied; strellctl reload writes it"},
};

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

std::string next_step(const KnownSetting &setting) {
    switch (setting.applies) {
    case Applies::at_start:
        return "strell_v2 reads it when it starts";
    case Applies::after_reload:
        return "strellctl reload makes a running strell_v2 use it";
    default:
        return "";
    }
}

} // namespace ctl
