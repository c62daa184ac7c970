#include "strellctl/setting_name.h"

#include "strellctl/failure.h"
#include "strellctl/known_settings.h"
#include "strellctl/wording.h"

#include <algorithm>
#include <vector>

namespace ctl {

namespace {

constexpr char default_name_space[] = "nvram";
constexpr char default_section[] = "default";
constexpr size_t part_max_bytes = 63;

std::vector<std::string> parts_of(const std::string &text) {
    std::vector<std::string> parts(1);
    for (const char letter : text) {
        if (letter == ':' && parts.size() < 3) {
            parts.emplace_back();
        } else {
            parts.back() += letter;
        }
    }
    return parts;
}

bool is_part(const std::string &part) {
    return !part.empty() && part.size() <= part_max_bytes &&
           std::ranges::all_of(part, [](char letter) { return letter > ' ' && letter <= '~'; });
}

std::string name_space_of(const std::string &key) {
    const KnownSetting *known = find_known_setting(key);
    return known != nullptr ? known->name_space : default_name_space;
}

} // namespace

SettingName parse_setting_name(const std::string &text) {
    const std::vector<std::string> parts = parts_of(text);
    if (!std::ranges::all_of(parts, is_part)) {
        throw Usage("\"" + printable(text) +
                    "\" is no name of a setting: KEY, NAMESPACE:KEY or NAMESPACE:SECTION:KEY, each 1 to 63 "
                    "letters without blanks");
    }
    switch (parts.size()) {
    case 1:
        return {name_space_of(parts[0]), default_section, parts[0]};
    case 2:
        return {parts[0], default_section, parts[1]};
    default:
        return {parts[0], parts[1], parts[2]};
    }
}

std::string short_text(const SettingName &name) {
    if (name.section != default_section || name.key.find(':') != std::string::npos) {
        return full_text(name);
    }
    return name_space_of(name.key) == name.name_space ? name.key : name.name_space + ":" + name.key;
}

std::string full_text(const SettingName &name) {
    return name.name_space + ":" + name.section + ":" + name.key;
}

} // namespace ctl
