// strellctl list: what is stored; with --known, every setting that strell_v2 reads.

#include "strellctl/all_commands.h"
#include "strellctl/failure.h"
#include "strellctl/known_settings.h"
#include "strellctl/output.h"
#include "strellctl/store.h"
#include "strellctl/wording.h"

#include <algorithm>

namespace ctl {

namespace {

/* The store is asked when it is there; the table is of use without it. */
std::vector<Store::Entry> entries_if_any(std::string *trouble) {
    try {
        return Store().list();
    } catch (const Failure &failure) {
        *trouble = failure.what();
        return {};
    }
}

void print_known(const std::vector<Store::Entry> &entries) {
    for (const KnownSetting &known : known_settings()) {
        const SettingName name = {known.name_space, "default", known.key};
        const auto entry = std::ranges::find(entries, name, &Store::Entry::name);
        const std::string value =
            entry != entries.end() ? printable(entry->value) : std::string("(") + known.otherwise + ")";
        print_line(format("%-24s %s\n%-24s %s. Values: %s.", known.key, value.c_str(), "", known.text,
                          known.limits));
    }
}

} // namespace

int run_list(const Arguments &arguments) {
    if (arguments.has("--known")) {
        std::string trouble;
        print_known(entries_if_any(&trouble));
        if (!trouble.empty()) {
            throw Failure("no values are shown: " + trouble);
        }
        return exit_good;
    }
    const std::vector<Store::Entry> entries = Store().list();
    for (const Store::Entry &entry : entries) {
        print_line(short_text(entry.name) + " = " + printable(entry.value));
    }
    if (entries.empty()) {
        notice("nothing is stored; strellctl list --known shows what could be");
    }
    return exit_good;
}

} // namespace ctl
