/*
 * What a command of strellctl is: one row of the table in commands.cpp. Parsing, --help and completion all go
 * by the row; the command itself sees only arguments that fit it.
 */
#ifndef STRELLCTL_COMMAND_H
#define STRELLCTL_COMMAND_H

#include <cstddef>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace ctl {

struct Option {
    const char *name;  // "--json", "-t"
    const char *value; // what its value is called in the help; null for an option without one
    const char *help;
};

/* What the words behind a command are, for completion. */
enum class Words {
    none,
    streams,
    settings,
    settings_and_values,
    shells,
    av_commands,
    topics,
    scene_subjects,
    night_modes
};

class Arguments;

struct Command {
    const char *name;
    const char *synopsis; // what follows the name
    const char *summary;  // one line, for the list of commands
    const char *details;  // the rest of its help
    std::span<const Option> options;
    Words words;
    size_t least_words;
    size_t most_words;
    /* Result: the exit code. Throws Failure or Usage. */
    int (*run)(const Arguments &arguments);
    /* What follows `details`, where that is made from a table; or null. */
    std::string (*more_help)() = nullptr;
    /* Whether a word such as -20 is a number and no option. */
    bool takes_numbers = false;
};

/* The command line behind the command's name, checked against the row. Values are not judged yet. */
class Arguments {
  public:
    /* Throws Usage for what the row does not have. "--" ends the options; "-" is a word. */
    Arguments(const Command &command, std::span<char *const> words);

    /* The words that are no options; at least least_words of them. */
    const std::vector<std::string> &words() const { return words_; }
    const std::string &word(size_t index) const { return words_.at(index); }

    bool has(const std::string &option) const { return options_.contains(option); }
    bool has_options() const { return !options_.empty(); }

    /* The value of an option, or `otherwise` when it was not given. */
    std::string value(const std::string &option, const std::string &otherwise) const;

    /* The value of an option as a duration in seconds, decimals allowed, or `otherwise` when it was not
     * given. Throws Usage for anything but 0.1 to 1000000. */
    double seconds(const std::string &option, double otherwise) const;

  private:
    std::map<std::string, std::string> options_;
    std::vector<std::string> words_;
};

/* Every command there is, in the order of the help. */
std::span<const Command> commands();

/* The command of that name, or null. */
const Command *find_command(const std::string &name);

} // namespace ctl

#endif
