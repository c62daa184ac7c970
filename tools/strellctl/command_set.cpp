// strellctl set: gives a setting a value, checked if the daemon reads it.

#include "strellctl/all_commands.h"
#include "strellctl/failure.h"
#include "strellctl/known_settings.h"
#include "strellctl/output.h"
#include "strellctl/store.h"
#include "strellctl/wording.h"

namespace ctl {

namespace {

constexpr size_t value_max_bytes = 8191;

void check_known(const KnownSetting &known, const std::string &value) {
    const std::string objection = known.objection(known, value);
    if (!objection.empty()) {
        throw Usage("\"" + printable(value) + "\" " + objection + "; " + known.key +
                    " is not changed (--force stores it all the same)");
    }
}

/* A misspelt key would be stored, and nothing would come of it. */
void check_unknown(const SettingName &name) {
    const std::string similar = similar_key(name.key);
    throw Usage("strell_v2 reads no setting " + printable(short_text(name)) + ": " +
                (similar.empty() ? "strellctl list --known shows those it reads" : "is it " + similar + "?") +
                " (--force stores it all the same)");
}

} // namespace

int run_set(const Arguments &arguments) {
    const SettingName name = parse_setting_name(arguments.word(0));
    const std::string &value = arguments.word(1);
    const KnownSetting *known = find_known_setting(name);
    if (value.size() > value_max_bytes) {
        throw Usage(format("a value has at most %zu bytes, this one has %zu", value_max_bytes, value.size()));
    }
    if (!arguments.has("--force")) {
        known != nullptr ? check_known(*known, value) : check_unknown(name);
    }
    Store().set(name, value);
    const std::string step = known != nullptr ? next_step(*known) : "";
    print_line(short_text(name) + " = " + printable(value) + (step.empty() ? "" : "  (" + step + ")"));
    return exit_good;
}

} // namespace ctl
