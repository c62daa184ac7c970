// strellctl help: the commands, one of them, or the settings.

#include "strellctl/all_commands.h"
#include "strellctl/failure.h"
#include "strellctl/help.h"
#include "strellctl/known_settings.h"
#include "strellctl/output.h"
#include "strellctl/wording.h"

namespace ctl {

namespace {

std::string help_on(const std::string &topic) {
    if (topic == "settings") {
        return "strell_v2 reads these settings; strellctl list --known shows their values:\n" +
               settings_help();
    }
    const Command *command = find_command(topic);
    if (command == nullptr) {
        throw Usage("there is no command " + printable(topic) + "; strellctl --help lists them");
    }
    return command_help(*command);
}

} // namespace

int run_help(const Arguments &arguments) {
    print(arguments.words().empty() ? general_help() : help_on(arguments.word(0)));
    return exit_good;
}

} // namespace ctl
