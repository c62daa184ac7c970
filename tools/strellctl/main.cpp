// strellctl: the one command for people who use or port this camera.

#include "strellctl/command.h"
#include "strellctl/failure.h"
#include "strellctl/help.h"
#include "strellctl/output.h"
#include "strellctl/wording.h"

#include <algorithm>
#include <csignal>
#include <exception>

namespace {

using ctl::Command;

bool asks_for_help(std::span<char *const> words) {
    const auto end = std::ranges::find(words, std::string("--"));
    return std::any_of(words.begin(), end,
                       [](const std::string &word) { return word == "--help" || word == "-h"; });
}

int run_command(const Command &command, std::span<char *const> words) {
    if (asks_for_help(words)) {
        ctl::print(ctl::command_help(command));
        return ctl::exit_good;
    }
    try {
        return command.run(ctl::Arguments(command, words));
    } catch (const ctl::Usage &error) {
        ctl::notice(std::string(error.what()) + "\nusage: " + ctl::usage_line(command));
        return ctl::exit_usage;
    }
}

int run(std::span<char *const> words) {
    const std::string name = words.empty() ? "" : words[0];
    if (name == "--help" || name == "-h") {
        ctl::print(ctl::general_help());
        return ctl::exit_good;
    }
    if (name == "--version") {
        ctl::print_line("strellctl " STRELL_VERSION);
        return ctl::exit_good;
    }
    const Command *command = ctl::find_command(name);
    if (command == nullptr) {
        ctl::notice((name.empty() ? "a command is missing" : "there is no command " + ctl::printable(name)) +
                    std::string("; strellctl --help lists them"));
        return ctl::exit_usage;
    }
    return run_command(*command, words.subspan(1));
}

} // namespace

int main(int argc, char **argv) {
    // Writes tell what these signals would: the reader has gone, the file has reached its limit.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    try {
        return run({argv + 1, argv + std::max(argc, 1)});
    } catch (const ctl::OutputClosed &) {
        return ctl::exit_good;
    } catch (const std::exception &error) {
        ctl::notice(error.what());
        return ctl::exit_failed;
    }
}
