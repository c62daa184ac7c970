/*
 * The settings that strell_v2 reads: one table, by which values are checked and explained.
 */
#ifndef STRELLCTL_KNOWN_SETTINGS_H
#define STRELLCTL_KNOWN_SETTINGS_H

#include "strellctl/setting_name.h"

#include <span>
#include <string>
#include <vector>

namespace ctl {

/* When the daemon takes a new value over: when it starts; when it starts and by strellctl reload; when it
 * starts and at once; or only at once, so that after a start its own value holds until the next write. */
enum class Applies { at_start, after_reload, at_once, while_it_runs };

struct KnownSetting {
    const char *key;
    const char *name_space; // the section is "default"
    /*
     * What is wrong with a value, as the end of a sentence that begins with it ("is neither on nor off"), or
     * empty when it is good.
     */
    std::string (*objection)(const KnownSetting &setting, const std::string &value);
    const char *limits;    // for people; with choices "a|b", also for the check
    const char *otherwise; // what holds when it has no value
    Applies applies;
    const char *text; // what it does, in one line
};

/* All of them, in the order in which they are listed. */
std::span<const KnownSetting> known_settings();

/* By key alone, or by the full name; null for a setting that the daemon does not read. */
const KnownSetting *find_known_setting(const std::string &key);
const KnownSetting *find_known_setting(const SettingName &name);

/* The known key that `key` may be a misspelling of, or empty. */
std::string similar_key(const std::string &key);

/* The values that are offered to whoever types one: those of a setting that has choices. */
std::vector<std::string> choices(const KnownSetting &setting);

/* All of them for people: values, what holds without one, when it is taken over, and what it does. */
std::string settings_help();

/* What one has to do after a new value was stored, as a sentence; empty when there is nothing to do. */
std::string next_step(const KnownSetting &setting);

} // namespace ctl

#endif
