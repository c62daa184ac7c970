#include "strellctl/help.h"

#include "strellctl/wording.h"

#include <algorithm>

namespace ctl {

namespace {

constexpr char general_end[] = R"(
strellctl COMMAND --help tells more about each. The camera meant is the one under /run, or under STRELL_RUN_DIR
when that is set (./dev ctl sets it to where ./dev run has its camera).
Exit status: 0 done; 1 it did not work, and why is on standard error; 2 the command line makes no sense.
)";

constexpr size_t least_option_width = 12;

std::string option_text(const Option &option) {
    return std::string(option.name) + (option.value != nullptr ? std::string(" ") + option.value : "");
}

} // namespace

std::string usage_line(const Command &command) {
    return std::string("strellctl ") + command.name + (*command.synopsis == '\0' ? "" : " ") +
           command.synopsis;
}

std::string command_help(const Command &command) {
    std::string text = "usage: " + usage_line(command) + "\n\n" + command.details;
    if (command.more_help != nullptr) {
        text += command.more_help();
    }
    size_t width = least_option_width;
    for (const Option &option : command.options) {
        width = std::max(width, option_text(option).size());
    }
    for (const Option &option : command.options) {
        text += format("%s  %-*s %s\n", &option == command.options.data() ? "\n" : "",
                       static_cast<int>(width), option_text(option).c_str(), option.help);
    }
    return text;
}

std::string general_help() {
    std::string text = "strellctl: looks at a running camera, records it, and changes its settings\n\n";
    for (const Command &command : commands()) {
        const std::string left = std::string(command.name) + " " + command.synopsis;
        text += format("  %-46s %s\n", left.c_str(), command.summary);
    }
    return text + general_end;
}

} // namespace ctl
