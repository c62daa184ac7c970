#include "strellctl/command.h"
#include "strellctl/failure.h"
#include "strellctl/wording.h"

#include <algorithm>
#include <charconv>

namespace ctl {

namespace {

constexpr double least_seconds = 0.1;
constexpr double most_seconds = 1e6;

/* What stands behind the option's name: "-t10" and "--name=value" carry their value with them. */
struct OptionWord {
    const Option *option;
    std::string value;
    bool has_value;
};

OptionWord read_option(const Command &command, const std::string &word) {
    const bool is_long = word.starts_with("--");
    const size_t name_length = is_long ? std::min(word.find('='), word.size()) : 2;
    const std::string name = word.substr(0, name_length);
    const auto option =
        std::ranges::find_if(command.options, [&](const Option &entry) { return name == entry.name; });
    if (option == command.options.end()) {
        throw Usage("there is no option " + printable(word) + " (a word that begins with - goes behind --)");
    }
    const bool has_value = word.size() > name_length;
    if (has_value && option->value == nullptr) {
        throw Usage(name + " takes no value");
    }
    return {&*option, has_value ? word.substr(name_length + (is_long ? 1 : 0)) : "", has_value};
}

bool is_plain(const Command &command, const std::string &word) {
    const bool number = command.takes_numbers && word.find_first_not_of("-.0123456789") == std::string::npos;
    return word.size() < 2 || word[0] != '-' || (number && word != "--");
}

void check_count(const Command &command, size_t count) {
    if (count < command.least_words) {
        throw Usage("something is missing");
    }
    if (count > command.most_words) {
        throw Usage("these are too many words (put quotes around a value with blanks)");
    }
}

} // namespace

Arguments::Arguments(const Command &command, std::span<char *const> words) {
    bool options_end = false;
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string word = words[i];
        if (options_end || is_plain(command, word)) {
            words_.push_back(word);
        } else if (word == "--") {
            options_end = true;
        } else {
            OptionWord found = read_option(command, word);
            if (found.option->value != nullptr && !found.has_value) {
                if (++i >= words.size()) {
                    throw Usage(word + " needs a value: " + found.option->value);
                }
                found.value = words[i];
            }
            options_[found.option->name] = found.value;
        }
    }
    check_count(command, words_.size());
}

std::string Arguments::value(const std::string &option, const std::string &otherwise) const {
    const auto entry = options_.find(option);
    return entry == options_.end() ? otherwise : entry->second;
}

double Arguments::seconds(const std::string &option, double otherwise) const {
    const auto entry = options_.find(option);
    if (entry == options_.end()) {
        return otherwise;
    }
    const std::string &text = entry->second;
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !(value >= least_seconds) ||
        value > most_seconds) {
        throw Usage("\"" + printable(text) + "\" is no number of seconds from 0.1 to 1000000");
    }
    return value;
}

} // namespace ctl
