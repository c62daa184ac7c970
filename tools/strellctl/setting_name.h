/*
 * The name of a setting, as people write it and as the store wants it.
 */
#ifndef STRELLCTL_SETTING_NAME_H
#define STRELLCTL_SETTING_NAME_H

#include <string>

namespace ctl {

/* What the store keeps a value under. */
struct SettingName {
    std::string name_space;
    std::string section;
    std::string key;

    auto operator<=>(const SettingName &) const = default;
};

/*
 * Reads "KEY", "NAMESPACE:KEY" or "NAMESPACE:SECTION:KEY". A known key alone means its own namespace, any
 * other "nvram"; the section is "default" unless it is given. Throws Usage for what the store could not take.
 */
SettingName parse_setting_name(const std::string &text);

/* The shortest text that parse_setting_name reads back as `name`. */
std::string short_text(const SettingName &name);

/* All three parts. */
std::string full_text(const SettingName &name);

} // namespace ctl

#endif
