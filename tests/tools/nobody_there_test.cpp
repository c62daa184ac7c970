// strellctl where there is no camera: wrong usage, and what it says when nobody answers.

#include "support/scratch.h"
#include "support/socket_names.h"
#include "tools/ctl.h"

#include <gtest/gtest.h>

using ctl_test::run_ctl;
using ctl_test::Words;

namespace {

class NobodyThere : public testing::Test {
  protected:
    support::OwnSocketNames names_;
    support::ScratchRunDir dir_;
};

TEST_F(NobodyThere, WrongUsageIsExitStatus2) {
    const Words wrong[] = {{},
                           {"bogus"},
                           {"--bogus"},
                           {"watch"},
                           {"watch", "third"},
                           {"watch", "main", "sub"},
                           {"watch", "main", "-t"},
                           {"watch", "main", "-t", "soon"},
                           {"watch", "main", "--fast"},
                           {"record", "main"},
                           {"record", "main", "x.avi"},
                           {"record", "main", "-t", "0", "x.mp4"},
                           {"idr"},
                           {"idr", "both"},
                           {"get"},
                           {"get", "a b"},
                           {"set", "flip"},
                           {"set", "flip", "up"},
                           {"set", "flop", "on"},
                           {"set", "flip", "on", "off"},
                           {"unset"},
                           {"list", "all"},
                           {"monitor", "a:"},
                           {"reload", "now"},
                           {"snapshot", "--raw"},
                           {"listen", "x.ogg"},
                           {"ban", "now"},
                           {"night"},
                           {"night", "2"},
                           {"scene", "weather"},
                           {"scene", "brightness"},
                           {"scene", "brightness", "dim"},
                           {"scene", "brightness", "-1"},
                           {"scene", "brightness", "200001"},
                           {"scene", "brightness", "5", "6"},
                           {"scene", "brightness", "5", "--speed", "3"},
                           {"scene", "ramp", "5"},
                           {"scene", "ramp", "5", "0.5"},
                           {"scene", "cycle", "60", "1000"},
                           {"scene", "cycle", "60", "1", "1000"},
                           {"scene", "noise", "101"},
                           {"scene", "burst", "1"},
                           {"scene", "burst", "-10", "0"},
                           {"scene", "view", "10"},
                           {"scene", "view", "161", "0"},
                           {"scene", "view", "0", "-31"},
                           {"scene", "show", "it"},
                           {"events", "now"},
                           {"motor", "--move", "--no-move"},
                           {"cmd"},
                           {"cmd", "osd"},
                           {"cmd", "ir-lamp"},
                           {"cmd", "0x2000", "1"},
                           {"cmd", "0x2000", "0g"},
                           {"cmd", "0x100000000"},
                           {"cmd", "0x2000", "00", "00"},
                           {"cmd", "osd-on", "1"},
                           {"cmd", "9999999999"},
                           {"cmd", "dnmode-set", "dusk"},
                           {"cmd", "track", "1", "2", "3"},
                           {"cmd", "bitrate", "0"},
                           {"cmd", "speaker-volume", "loud"},
                           {"cmd", "speaker-volume", "4294967296"},
                           {"cmd", "md-sensitivity", "256"},
                           {"snapshot", "--raw", "x.gif"},
                           {"snapshot", "--kind", "A"},
                           {"listen", "x.wav", "-t", "0"},
                           {"talk"},
                           {"unban", "now"},
                           {"help", "everything"},
                           {"help", "set", "flip"},
                           {"completion", "fish"},
                           {"status", "main"},
                           {"access", "main"}};
    for (const Words &words : wrong) {
        const auto outcome = run_ctl(words);
        const std::string line = words.empty() ? "" : words[0] + " " + words.back();
        EXPECT_EQ(outcome.exit_code, 2) << line << ": " << outcome.output;
        EXPECT_EQ(outcome.output.rfind("strellctl: ", 0), 0U) << line << ": " << outcome.output;
    }
}

TEST_F(NobodyThere, HelpIsThereForEveryCommand) {
    const auto help = run_ctl({"--help"});
    EXPECT_EQ(help.exit_code, 0);
    for (const char *name :
         {"status",  "watch",  "record",   "idr",    "get",        "set",  "unset", "list",
          "monitor", "reload", "snapshot", "listen", "talk",       "ban",  "unban", "night",
          "scene",   "cmd",    "events",   "motor",  "completion", "help", "access"}) {
        EXPECT_NE(help.output.find(std::string("\n  ") + name + " "), std::string::npos) << name;
        for (const char *option : {"--help", "-h"}) {
            const auto one = run_ctl({name, option});
            EXPECT_EQ(one.exit_code, 0) << name;
            EXPECT_EQ(one.output.rfind(std::string("usage: strellctl ") + name, 0), 0U) << one.output;
        }
    }
    const auto version = run_ctl({"--version"});
    EXPECT_EQ(version.exit_code, 0);
    EXPECT_EQ(version.output.rfind("strellctl ", 0), 0U);
}

TEST_F(NobodyThere, HelpIsACommandToo) {
    EXPECT_EQ(run_ctl({"help"}).output, run_ctl({"--help"}).output);
    EXPECT_EQ(run_ctl({"help", "record"}).output, run_ctl({"record", "--help"}).output);
    const auto settings = run_ctl({"help", "settings"});
    EXPECT_EQ(settings.exit_code, 0);
    const auto set = run_ctl({"set", "--help"});
    for (const char *key : {"bind_status", "power", "watermark", "flip", "wdr", "regioncode", "flicker",
                            "hot_config", "hdr_switch", "motion_detection_enable", "hot_status",
                            "motion_region", "lsd_threshold", "night_mode", "algo_sensitivity"}) {
        const std::string row = std::string("\n  ") + key + "\n      ";
        EXPECT_NE(settings.output.find(row), std::string::npos) << key;
        EXPECT_NE(set.output.find(row), std::string::npos) << key;
    }
}

TEST_F(NobodyThere, EveryCommandSaysSoAndWhatToDo) {
    const Words commands[] = {{"status"},
                              {"watch", "main"},
                              {"record", "sub", "-t", "1", dir_.file("x.mp4")},
                              {"idr", "sub"},
                              {"get", "flip"},
                              {"set", "flip", "on"},
                              {"unset", "flip"},
                              {"list"},
                              {"list", "--known"},
                              {"monitor"},
                              {"reload"},
                              {"night", "auto"},
                              {"scene"},
                              {"scene", "view", "10", "-10"},
                              {"snapshot", dir_.file("x.jpg")},
                              {"listen", dir_.file("x.wav")},
                              {"ban"},
                              {"unban"},
                              {"events"},
                              {"cmd", "osd-on"}};
    for (const Words &words : commands) {
        const auto outcome = run_ctl(words);
        EXPECT_EQ(outcome.exit_code, 1) << words[0] << ": " << outcome.output;
        EXPECT_NE(outcome.output.find("strellctl: "), std::string::npos) << words[0];
        EXPECT_NE(outcome.output.find("./dev run"), std::string::npos) << words[0] << ": " << outcome.output;
        EXPECT_NE(outcome.output.find("STRELL_RUN_DIR"), std::string::npos) << words[0];
    }
    EXPECT_EQ(ctl_test::run_shell("ls", dir_.path()).output, "") << "no file is left behind";
}

TEST_F(NobodyThere, StatusTellsWhatIsKnown) {
    const auto plain = run_ctl({"status"});
    EXPECT_NE(plain.output.find("main   not served"), std::string::npos) << plain.output;
    EXPECT_NE(plain.output.find("store  not there"), std::string::npos) << plain.output;
    const auto json = ctl_test::objects(run_ctl({"status", "--json"}).output);
    ASSERT_EQ(json.size(), 1U);
    EXPECT_FALSE(json[0].truth("good"));
    for (const char *part : {"channels.main.served", "channels.sub.served", "board.there", "store.there"}) {
        EXPECT_FALSE(json[0].truth(part)) << part;
    }
    for (const char *part : {"channels.main.error", "board.error", "store.error"}) {
        EXPECT_NE(json[0].text(part), "") << part;
    }
}

TEST_F(NobodyThere, KnownSettingsAreListedWithoutAStore) {
    const auto outcome = run_ctl({"list", "--known"});
    EXPECT_NE(outcome.output.find("hot_config"), std::string::npos);
    EXPECT_NE(outcome.output.find("no values are shown"), std::string::npos);
}

/* What bash offers for each of some command lines, the last word of which is being typed; one line for each.
 */
std::string completed(const std::string &lines, const std::string &dir) {
    const std::string script = R"SH(
        eval "$("$CTL" completion bash)"
        while IFS= read -r words; do
            read -ra COMP_WORDS <<<"$words"
            [ "${words% }" = "$words" ] || COMP_WORDS+=('')
            COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
            _strellctl
            echo "${COMPREPLY[*]}"
        done)SH";
    const auto outcome = ctl_test::run_shell(script + " <<'LINES'\n" + lines + "LINES", dir);
    EXPECT_EQ(outcome.exit_code, 0);
    return outcome.output;
}

TEST_F(NobodyThere, CompletionIsAScriptThatBashTakes) {
    EXPECT_EQ(completed("strellctl w\nstrellctl watch m\nstrellctl record main --\nstrellctl list --k\n"
                        "strellctl cmd osd\nstrellctl completion \nstrellctl watch x\n",
                        dir_.path()),
              "watch\nmain\n--help\n--known\nosd-on osd-off\nbash\n\n");
}

TEST_F(NobodyThere, CompletionKnowsSettingsAndTheirValues) {
    EXPECT_EQ(
        completed("strellctl set fl\nstrellctl get mo\nstrellctl unset night\nstrellctl monitor flip w\n"
                  "strellctl set flip \nstrellctl set night_mode \nstrellctl set algo_sensitivity l\n"
                  "strellctl set --force bind_status \nstrellctl get flip o\nstrellctl set flip --\n",
                  dir_.path()),
        "flip flicker\nmotion_detection_enable motion_region\nnight_mode\nwatermark wdr\n"
        "on off\n0 1 2\nlowest\nok no\n\n--help\n");
}

TEST_F(NobodyThere, CompletionKnowsWhatThereIsHelpOn) {
    EXPECT_EQ(completed("strellctl h\nstrellctl help se\nstrellctl help un\n", dir_.path()),
              "help\nset settings\nunset unban\n");
}

} // namespace
