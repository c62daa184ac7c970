// boardctl: the command line of boardctl.h.

#include "board/boardctl.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace {

using board::BoardCtl;

constexpr int exit_usage = 2;

constexpr char help_text[] = R"(boardctl: looks at boardd and makes it misbehave, for development

  boardctl status                       what it does, as JSON
  boardctl fail CHANNEL [COUNT]         fetches of the channel fail (-1)
  boardctl empty CHANNEL [COUNT]        fetches bring an empty frame
  boardctl lose CHANNEL [COUNT]         fetches report lost frames (-2)
  boardctl stall CHANNEL                no frame comes out of the channel
  boardctl refuse init RESULT           board_system_init answers RESULT, such as -3
  boardctl refuse sensor RESULT         the sensor cannot be asked
  boardctl refuse profile RESULT        no profile is accepted
  boardctl clear [CHANNEL]              ends the faults of the channel, or all

CHANNEL is 0 (main), 1 (sub), all (of these two) or mic (the microphone; it knows no lost frames). A fault lasts for COUNT fetches, or without COUNT until it is cleared.
Exit status: 0 done; 1 boardd is not there or refuses; 2 the command makes no sense.
The boardd meant is the one under /run, or under STRELL_RUN_DIR when that is set.
)";

struct Usage : std::runtime_error {
    using std::runtime_error::runtime_error;
};

using Words = std::vector<std::string_view>;

int64_t number(std::string_view word, int64_t least, int64_t most) {
    int64_t value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc() || end != word.data() + word.size() || value < least || value > most) {
        throw Usage("\"" + std::string(word) + "\" is no number from " + std::to_string(least) + " to " +
                    std::to_string(most));
    }
    return value;
}

int32_t channel(std::string_view word) {
    if (word == "mic") {
        return board::microphone_channel;
    }
    return word == "all" ? board::all_channels : static_cast<int32_t>(number(word, 0, 1));
}

int32_t refusal(std::string_view word) {
    return static_cast<int32_t>(number(word, std::numeric_limits<int32_t>::min(), -1));
}

void answer_fetches(BoardCtl &ctl, const Words &words, int32_t result) {
    const auto count = words.size() > 2 ? number(words[2], 1, std::numeric_limits<uint32_t>::max()) : 0;
    ctl.answer_fetches(channel(words[1]), result, static_cast<uint32_t>(count));
}

void refuse(BoardCtl &ctl, const Words &words) {
    const int32_t result = refusal(words[2]);
    if (words[1] == "init") {
        ctl.refuse_init(result);
    } else if (words[1] == "sensor") {
        ctl.refuse_sensor(result);
    } else if (words[1] == "profile") {
        ctl.refuse_profile(result);
    } else {
        throw Usage("refuse takes init, sensor or profile");
    }
}

struct Command {
    const char *name;
    size_t least_words;
    size_t most_words;
    void (*perform)(BoardCtl &ctl, const Words &words);
};

const Command commands[] = {
    {"status", 1, 1, [](BoardCtl &ctl, const Words &) { std::printf("%s\n", ctl.status().c_str()); }},
    {"fail", 2, 3, [](BoardCtl &ctl, const Words &words) { answer_fetches(ctl, words, -1); }},
    {"empty", 2, 3, [](BoardCtl &ctl, const Words &words) { answer_fetches(ctl, words, 0); }},
    {"lose", 2, 3, [](BoardCtl &ctl, const Words &words) { answer_fetches(ctl, words, -2); }},
    {"stall", 2, 2, [](BoardCtl &ctl, const Words &words) { ctl.stall(channel(words[1])); }},
    {"refuse", 3, 3, refuse},
    {"clear", 1, 2,
     [](BoardCtl &ctl, const Words &words) {
         ctl.clear_faults(words.size() > 1 ? channel(words[1]) : board::all_channels);
     }},
};

void perform(const Words &words) {
    for (const Command &command : commands) {
        if (words[0] == command.name && words.size() >= command.least_words &&
            words.size() <= command.most_words) {
            BoardCtl ctl;
            command.perform(ctl, words);
            return;
        }
    }
    throw Usage("this is no command");
}

} // namespace

int main(int argc, char **argv) {
    const Words words(argv + 1, argv + argc);
    if (words.empty() || words[0] == "--help" || words[0] == "-h" || words[0] == "help") {
        std::fputs(help_text, words.empty() ? stderr : stdout);
        return words.empty() ? exit_usage : EXIT_SUCCESS;
    }
    try {
        perform(words);
    } catch (const Usage &error) {
        std::fprintf(stderr, "boardctl: %s; boardctl --help shows all\n", error.what());
        return exit_usage;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "boardctl: %s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
