// strellctl get: the value of a setting.

#include "strellctl/all_commands.h"
#include "strellctl/failure.h"
#include "strellctl/known_settings.h"
#include "strellctl/output.h"
#include "strellctl/store.h"

namespace ctl {

int run_get(const Arguments &arguments) {
    const SettingName name = parse_setting_name(arguments.word(0));
    const std::optional<std::string> value = Store().get(name);
    if (!value) {
        const KnownSetting *known = find_known_setting(name);
        const std::string hint =
            known != nullptr ? std::string("; strell_v2 then takes: ") + known->otherwise : "";
        throw Failure(short_text(name) + " has no value" + hint);
    }
    print_line(*value);
    return exit_good;
}

} // namespace ctl
