// What strellctl writes for programs and on terminals.

#include "strellctl/json.h"
#include "strellctl/live_lines.h"
#include "strellctl/output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <string>
#include <unistd.h>

using ctl::JsonObject;

namespace {

TEST(JsonOutput, IsOneLineWhateverTheTextsAre) {
    JsonObject inner;
    inner.add("name", "a/b").add("none", std::string());
    JsonObject object;
    object.add("text", "a \"b\"\n\x1b").add("big", uint32_t{4294967295}).add("less", -1).add("flag", true);
    object.add("rate", 15.0, 2).add("inner", std::move(inner)).add_null("null");
    EXPECT_EQ(object.text(),
              R"({"text":"a \"b\"\n\u001b","big":4294967295,"less":-1,"flag":true,"rate":15.00,)"
              R"("inner":{"name":"a/b","none":""},"null":null})");
}

TEST(JsonOutput, TakesJsonFromElsewhereOnlyWhenItIsSome) {
    JsonObject object;
    object.add_json("good", R"({"a": [1, 2]})").add_json("bad", "{\"a\":").add_json("empty", "");
    EXPECT_EQ(object.text(), R"({"good":{"a":[1,2]},"bad":null,"empty":null})");
}

/* A terminal of so many columns; what is written on it can be read. */
class Terminal {
  public:
    explicit Terminal(uint16_t columns) {
        const winsize size = {24, columns, 0, 0};
        EXPECT_EQ(openpty(&reading_, &writing_, nullptr, nullptr, &size), 0);
        fcntl(reading_, F_SETFL, O_NONBLOCK);
    }
    ~Terminal() {
        close(reading_);
        close(writing_);
    }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    int fd() const { return writing_; }
    std::string written() const {
        char bytes[4096];
        const ssize_t count = read(reading_, bytes, sizeof bytes);
        return {bytes, count > 0 ? static_cast<size_t>(count) : 0};
    }

  private:
    int reading_ = -1;
    int writing_ = -1;
};

TEST(LiveLines, AreDrawnOverTheOnesBefore) {
    const Terminal terminal(80);
    EXPECT_TRUE(ctl::is_terminal(terminal.fd()));
    ctl::LiveLines live(terminal.fd());
    live.show({"one", "two"});
    const std::string first = terminal.written();
    EXPECT_NE(first.find("one"), std::string::npos) << first;
    EXPECT_EQ(first.find("\x1b[2A"), std::string::npos) << "there is nothing above";
    live.show({"three", "four"});
    const std::string second = terminal.written();
    EXPECT_NE(second.find("\x1b[2A"), std::string::npos) << "two lines up";
    EXPECT_LT(second.find("\x1b[2A"), second.find("three"));
}

TEST(LiveLines, AreCutToTheTerminalsWidth) {
    const Terminal terminal(10);
    ctl::LiveLines live(terminal.fd());
    live.show({"0123456789abcdef"});
    const std::string written = terminal.written();
    EXPECT_NE(written.find("012345678"), std::string::npos);
    EXPECT_EQ(written.find("abc"), std::string::npos) << written;
}

} // namespace
