// strellctl monitor: changes of settings as they come.

#include "strellctl/all_commands.h"
#include "strellctl/failure.h"
#include "strellctl/known_settings.h"
#include "strellctl/output.h"
#include "strellctl/store.h"
#include "strellctl/store_watch.h"
#include "strellctl/wording.h"

#include <set>
#include <vector>

namespace ctl {

namespace {

/* The store can only be asked for one key at a time, so "everything" is what is known or stored now. */
std::set<SettingName> names_of(const std::vector<std::string> &words) {
    std::set<SettingName> names;
    for (const std::string &word : words) {
        names.insert(parse_setting_name(word));
    }
    if (names.empty()) {
        for (const KnownSetting &known : known_settings()) {
            names.insert({known.name_space, "default", known.key});
        }
        for (const Store::Entry &entry : Store().list()) {
            names.insert(entry.name);
        }
    }
    return names;
}

void tell(const SettingName &name, const std::optional<std::string> &value) {
    print_line(short_text(name) + (value ? " = " + printable(*value) : " has no value any more"));
}

} // namespace

int run_monitor(const Arguments &arguments) {
    const Interrupt interrupt;
    const std::set<SettingName> names = names_of(arguments.words());
    StoreWatch store(tell);
    for (const SettingName &name : names) {
        store.add(name);
    }
    notice("watching " +
           (names.size() == 1 ? short_text(*names.begin()) : count_text(names.size(), "setting")) +
           ", until Ctrl-C");
    store.run(interrupt, 0);
    return exit_good;
}

} // namespace ctl
