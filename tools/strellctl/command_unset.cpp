// strellctl unset: takes the value of a setting away.

#include "strellctl/all_commands.h"
#include "strellctl/failure.h"
#include "strellctl/known_settings.h"
#include "strellctl/output.h"
#include "strellctl/store.h"

namespace ctl {

int run_unset(const Arguments &arguments) {
    const SettingName name = parse_setting_name(arguments.word(0));
    Store store;
    if (!store.get(name)) {
        throw Failure(short_text(name) + " has no value: there is nothing to take away");
    }
    store.remove(name);
    const KnownSetting *known = find_known_setting(name);
    print_line(short_text(name) + " has no value any more" +
               (known != nullptr ? std::string("; strell_v2 takes: ") + known->otherwise : ""));
    return exit_good;
}

} // namespace ctl
