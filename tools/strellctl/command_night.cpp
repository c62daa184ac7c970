// strellctl night: chooses between automatic, day and night.

#include "strellctl/all_commands.h"
#include "strellctl/failure.h"
#include "strellctl/output.h"
#include "strellctl/store.h"
#include "strellctl/wording.h"

#include <algorithm>
#include <iterator>

namespace ctl {

namespace {

struct Mode {
    const char *name;
    const char *value; // of the setting
    const char *text;
};

constexpr Mode modes[] = {
    {"auto", "0", "the light decides"},
    {"day", "1", "day, whatever the light is"},
    {"night", "2", "night, whatever the light is"},
};

} // namespace

int run_night(const Arguments &arguments) {
    const std::string &name = arguments.word(0);
    const auto *mode = std::find_if(std::begin(modes), std::end(modes),
                                    [&](const Mode &entry) { return name == entry.name; });
    if (mode == std::end(modes)) {
        throw Usage("\"" + printable(name) + "\" is none of: auto, day, night");
    }
    Store().set({"nvram", "default", "night_mode"}, mode->value);
    print_line(std::string("night_mode = ") + mode->value + "  (" + mode->text + ")");
    return exit_good;
}

} // namespace ctl
