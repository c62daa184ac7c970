// strellctl completion: a script for the shell, made from the tables.

#include "strellctl/all_commands.h"
#include "strellctl/av_commands.h"
#include "strellctl/failure.h"
#include "strellctl/known_settings.h"
#include "strellctl/output.h"
#include "strellctl/scene_text.h"
#include "strellctl/stream.h"
#include "strellctl/wording.h"

#include <vector>

namespace ctl {

namespace {

constexpr char begin[] = R"SH(# bash completion of strellctl; to use it:  eval "$(strellctl completion bash)"
_strellctl() {
    local words= current=${COMP_WORDS[COMP_CWORD]}
    if [ "$COMP_CWORD" -eq 1 ]; then
        words='%s --help --version'
    else
        case ${COMP_WORDS[1]} in
)SH";

constexpr char end[] = R"SH(        esac
        case $current in
        -*) words="$words --help" ;;
        esac
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -o default -F _strellctl strellctl
)SH";

std::vector<std::string> completions(const Command &command) {
    std::vector<std::string> words;
    switch (command.words) {
    case Words::streams:
        for (const Stream &stream : streams) {
            words.emplace_back(stream.name);
        }
        break;
    case Words::settings:
        for (const KnownSetting &known : known_settings()) {
            words.emplace_back(known.key);
        }
        break;
    case Words::shells:
        words.emplace_back("bash");
        break;
    case Words::av_commands:
        for (const AvCommand &row : av_commands()) {
            words.emplace_back(row.name);
        }
        break;
    case Words::scene_subjects:
        words = scene_subjects();
        break;
    case Words::night_modes:
        words = {"auto", "day", "night"};
        break;
    case Words::none:
        break;
    }
    for (const Option &option : command.options) {
        words.emplace_back(option.name);
    }
    return words;
}

} // namespace

int run_completion(const Arguments &arguments) {
    if (arguments.word(0) != "bash") {
        throw Usage("there is no completion for " + printable(arguments.word(0)) + ", only for bash");
    }
    std::vector<std::string> names;
    std::string cases;
    for (const Command &command : commands()) {
        names.emplace_back(command.name);
        cases +=
            format("        %s) words='%s' ;;\n", command.name, joined(completions(command), " ").c_str());
    }
    print(format(begin, joined(names, " ").c_str()) + cases + end);
    return exit_good;
}

} // namespace ctl
