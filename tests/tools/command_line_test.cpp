// How the command line is read, and what the help says about it.

#include "strellctl/command.h"
#include "strellctl/failure.h"
#include "strellctl/help.h"
#include "strellctl/wording.h"

#include <array>
#include <gtest/gtest.h>
#include <set>

using ctl::Arguments;
using ctl::Usage;

namespace {

constexpr std::array options = {ctl::Option{"-t", "SECONDS", "so long"},
                                ctl::Option{"--json", nullptr, "for programs"},
                                ctl::Option{"--name", "TEXT", "whatever"}};
constexpr ctl::Command command = {"try", "WORD [WORD]", "", "", options, ctl::Words::none, 1, 2, nullptr};

Arguments parse(std::vector<std::string> words) {
    std::vector<char *> pointers;
    for (std::string &word : words) {
        pointers.push_back(word.data());
    }
    return {command, pointers};
}

std::string complaint(const std::vector<std::string> &words) {
    try {
        parse(words);
    } catch (const Usage &error) {
        return error.what();
    }
    return "";
}

TEST(CommandLine, WordsAndOptionsMayBeMixed) {
    const Arguments arguments = parse({"-t", "2.5", "main", "--json", "file"});
    EXPECT_EQ(arguments.words(), (std::vector<std::string>{"main", "file"}));
    EXPECT_TRUE(arguments.has("--json"));
    EXPECT_EQ(arguments.seconds("-t", 0), 2.5);
}

TEST(CommandLine, ValuesMayStandAtTheirOption) {
    EXPECT_EQ(parse({"main", "-t3"}).seconds("-t", 0), 3);
    EXPECT_TRUE(parse({"main", "--name=x"}).has("--name"));
    EXPECT_TRUE(parse({"main", "--name", "--json"}).has("--name")) << "a value may look like an option";
    EXPECT_FALSE(parse({"main", "--name", "--json"}).has("--json"));
}

TEST(CommandLine, ADashIsAWordAndTwoEndTheOptions) {
    EXPECT_EQ(parse({"main", "-"}).word(1), "-");
    EXPECT_EQ(parse({"main", "--", "--json"}).word(1), "--json");
    EXPECT_EQ(parse({"", ""}).words().size(), 2U) << "an empty word is one";
}

TEST(CommandLine, WhatIsNotInTheTableIsRefused) {
    EXPECT_EQ(complaint({}), "something is missing");
    EXPECT_NE(complaint({"a", "b", "c"}).find("too many words"), std::string::npos);
    EXPECT_NE(complaint({"main", "--jsn"}).find("no option --jsn"), std::string::npos);
    EXPECT_NE(complaint({"main", "-5"}).find("behind --"), std::string::npos);
    EXPECT_EQ(complaint({"main", "--json=yes"}), "--json takes no value");
    EXPECT_EQ(complaint({"main", "-t"}), "-t needs a value: SECONDS");
}

TEST(CommandLine, SecondsAreCheckedWhenTheyAreRead) {
    EXPECT_EQ(parse({"main"}).seconds("-t", 7), 7);
    for (const char *value : {"", "0", "-1", "0.05", "x", "1x", "nan", "inf", "1000001", "1e99"}) {
        EXPECT_THROW(parse({"main", std::string("-t") + value, "-t", value}).seconds("-t", 0), Usage)
            << value;
    }
    EXPECT_EQ(parse({"main", "-t", "0.1"}).seconds("-t", 0), 0.1);
    EXPECT_EQ(parse({"main", "-t", "1000000"}).seconds("-t", 0), 1e6);
}

TEST(CommandTable, EveryRowIsWhole) {
    std::set<std::string> names;
    for (const ctl::Command &row : ctl::commands()) {
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
        EXPECT_NE(row.run, nullptr) << row.name;
        EXPECT_LE(row.least_words, row.most_words) << row.name;
        EXPECT_EQ(ctl::find_command(row.name), &row);
        const std::string synopsis = row.synopsis;
        for (const ctl::Option &option : row.options) {
            EXPECT_TRUE(synopsis.ends_with("[OPTIONS]") || synopsis.find(option.name) != std::string::npos)
                << row.name << " does not mention " << option.name;
        }
    }
    EXPECT_EQ(ctl::find_command("bogus"), nullptr);
    EXPECT_EQ(ctl::find_command(""), nullptr);
}

TEST(CommandTable, HelpNamesEverything) {
    const std::string all = ctl::general_help();
    for (const ctl::Command &row : ctl::commands()) {
        EXPECT_NE(all.find(row.summary), std::string::npos) << row.name;
        const std::string help = ctl::command_help(row);
        EXPECT_NE(help.find(ctl::usage_line(row)), std::string::npos);
        for (const ctl::Option &option : row.options) {
            EXPECT_NE(help.find(option.help), std::string::npos) << row.name;
        }
    }
}

TEST(Wording, NumbersAsPeopleReadThem) {
    EXPECT_EQ(ctl::bytes_text(999), "999 B");
    EXPECT_EQ(ctl::bytes_text(1000), "1.0 KB");
    EXPECT_EQ(ctl::bytes_text(999999), "1.0 MB");
    EXPECT_EQ(ctl::bytes_text(1642496), "1.6 MB");
    EXPECT_EQ(ctl::bytes_text(5000000000000), "5.0 TB");
    EXPECT_EQ(ctl::bitrate_text(0), "0 bit/s");
    EXPECT_EQ(ctl::bitrate_text(256000), "256 kbit/s");
    EXPECT_EQ(ctl::bitrate_text(999900), "1.00 Mbit/s");
    EXPECT_EQ(ctl::count_text(1, "frame"), "1 frame");
    EXPECT_EQ(ctl::count_text(0, "frame"), "0 frames");
}

TEST(Wording, WhatOthersWroteCannotCommandTheTerminal) {
    EXPECT_EQ(ctl::printable("on"), "on");
    EXPECT_EQ(ctl::printable("a\x1b[2Jb\n\x7f"), "a\\x1b[2Jb\\x0a\\x7f");
    EXPECT_EQ(ctl::printable("gr\xc3\xbcn"), "gr\xc3\xbcn");
}

} // namespace
