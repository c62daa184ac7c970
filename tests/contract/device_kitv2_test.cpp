// libdevice_kitv2.h: the sensor class, and encoder profiles as text.

#include "board/boardctl.h"
#include "libdevice_kitv2.h"
#include "support/board_process.h"
#include "support/scratch.h"

#include <csignal>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

class DeviceType : public testing::Test {
  protected:
    support::ScratchRunDir run_dir_;
};

TEST_F(DeviceType, IsThe2560ClassByDefault) {
    const support::BoardProcess boardd;
    int32_t flag = 55;
    EXPECT_EQ(get_deviceType_by_sensor(&flag), 0);
    EXPECT_EQ(flag, 0);
}

TEST_F(DeviceType, IsTheClassThatIsFitted) {
    for (const std::string sensor : {"300", "400"}) {
        const support::BoardProcess boardd({"--sensor", sensor});
        int32_t flag = 55;
        EXPECT_EQ(get_deviceType_by_sensor(&flag), 0);
        EXPECT_EQ(flag != 0, sensor == "300");
    }
}

TEST_F(DeviceType, IsUnchangedWhenTheSensorCannotBeAsked) {
    int32_t flag = 55;
    EXPECT_LT(get_deviceType_by_sensor(&flag), 0) << "no board";
    EXPECT_EQ(flag, 55);
    const support::BoardProcess boardd;
    board::BoardCtl().refuse_sensor(-4);
    EXPECT_LT(get_deviceType_by_sensor(&flag), 0) << "refused";
    EXPECT_EQ(flag, 55);
    EXPECT_LT(get_deviceType_by_sensor(nullptr), 0);
    board::BoardCtl().clear_faults();
    EXPECT_EQ(get_deviceType_by_sensor(&flag), 0);
}

TEST_F(DeviceType, DoesNotWaitForeverForABoardThatHangs) {
    const support::BoardProcess boardd;
    boardd.signal(SIGSTOP);
    int32_t flag = 55;
    EXPECT_LT(get_deviceType_by_sensor(&flag), 0);
    EXPECT_EQ(flag, 55);
}

TEST_F(DeviceType, TakesNothingFromTheBoard) {
    const support::BoardProcess boardd;
    int32_t flag = 0;
    ASSERT_EQ(get_deviceType_by_sensor(&flag), 0);
    EXPECT_NE(board::BoardCtl().status().find("\"phase\":\"idle\""), std::string::npos);
}

/* ---- profiles ---- */

TEST(HotConfig, ReadsTheElevenNumbers) {
    const char text[] = R"({"id":1,"icon":2,"cch":3,"pt":[4,5],"bps":[6,7],"fps":[8,9],"res":[10,11]})";
    HotConfigObject object{};
    ASSERT_EQ(hot_config_str_to_object(text, &object), 0);
    const HotConfigObject expected = {1, 2, 3, {8, 9}, {4, 5}, {6, 7}, {10, 11}};
    EXPECT_EQ(std::memcmp(&object, &expected, sizeof object), 0);
}

struct Text {
    const char *name;
    std::string text;
    bool good;
};

void PrintTo(const Text &text, std::ostream *out) {
    *out << text.name;
}

class HotConfigText : public testing::TestWithParam<Text> {};

TEST_P(HotConfigText, IsTakenOrRefusedWhole) {
    HotConfigObject object;
    std::memset(&object, 0x5A, sizeof object);
    const HotConfigObject untouched = object;
    const int32_t result = hot_config_str_to_object(GetParam().text.c_str(), &object);
    if (GetParam().good) {
        EXPECT_EQ(result, 0);
        EXPECT_EQ(object.res[1], 2);
    } else {
        EXPECT_LT(result, 0);
        EXPECT_EQ(std::memcmp(&object, &untouched, sizeof object), 0) << "changed";
    }
}

/* The default profile with one part replaced. */
std::string with(const std::string &part, const std::string &replacement) {
    std::string text = R"({"id":0,"icon":0,"cch":0,"pt":[1,1],"bps":[7,0],"fps":[15,15],"res":[4,2]})";
    const size_t at = text.find(part);
    return text.replace(at, part.size(), replacement);
}

std::string nested(size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

INSTANTIATE_TEST_SUITE_P(
    Texts, HotConfigText,
    testing::Values(
        Text{"Default", with("", ""), true}, Text{"OtherDefault", with("[4,2]", "[3,2]"), true},
        Text{"AnyOrder", R"({"res":[4,2],"fps":[15,15],"bps":[7,0],"pt":[1,1],"cch":0,"icon":0,"id":0})",
             true},
        Text{"WhiteSpace", " \t\r\n" + with("\"pt\":", " \"pt\" : ") + " \n", true},
        Text{"OtherMembers", with("{", R"({"x":null,"y":[1,2,3],"z":{"id":7},)"), true},
        Text{"LargestNumber", with("\"id\":0", "\"id\":2147483647"), true},
        Text{"SmallestNumber", with("\"id\":0", "\"id\":-2147483648"), true},
        Text{"SenselessNumbers", with("[15,15]", "[-1,99999]"), true},
        Text{"LastOfTwoCounts", with("{", R"({"res":[9,9],)"), true},
        Text{"EscapedName", with("\"id\"", "\"\\u0069d\""), true},
        Text{"LongText", with("{", "{\"x\":\"" + std::string(1000000, 'a') + "\","), true},
        Text{"Empty", "", false}, Text{"White", "  ", false}, Text{"Number", "7", false},
        Text{"Null", "null", false}, Text{"Array", "[]", false}, Text{"EmptyObject", "{}", false},
        Text{"CutShort", with("}", ""), false}, Text{"NoBrace", with("{", ""), false},
        Text{"SomethingBehind", with("}", "} x"), false}, Text{"ObjectBehind", with("}", "}{}"), false},
        Text{"CommaBehind", with("[4,2]}", "[4,2],}"), false},
        Text{"MissingId", with("\"id\":0,", ""), false}, Text{"MissingIcon", with("\"icon\":0,", ""), false},
        Text{"MissingCch", with("\"cch\":0,", ""), false},
        Text{"MissingPt", with("\"pt\":[1,1],", ""), false},
        Text{"MissingBps", with("\"bps\":[7,0],", ""), false},
        Text{"MissingFps", with("\"fps\":[15,15],", ""), false},
        Text{"MissingRes", with(",\"res\":[4,2]", ""), false},
        Text{"NameInCapitals", with("\"id\"", "\"ID\""), false},
        Text{"ArrayOfNone", with("[4,2]", "[]"), false}, Text{"ArrayOfOne", with("[4,2]", "[4]"), false},
        Text{"ArrayOfThree", with("[4,2]", "[4,2,1]"), false},
        Text{"ArrayInArray", with("[4,2]", "[[4],2]"), false},
        Text{"NumberForArray", with("[4,2]", "4"), false},
        Text{"ArrayForNumber", with("\"id\":0", "\"id\":[0]"), false},
        Text{"TextForNumber", with("\"id\":0", "\"id\":\"0\""), false},
        Text{"TrueForNumber", with("\"id\":0", "\"id\":true"), false},
        Text{"NullForNumber", with("\"id\":0", "\"id\":null"), false},
        Text{"NullForArray", with("[4,2]", "null"), false},
        Text{"NullInArray", with("[4,2]", "[4,null]"), false},
        Text{"Fraction", with("\"id\":0", "\"id\":0.5"), false},
        Text{"FractionInArray", with("[4,2]", "[4,2.5]"), false},
        Text{"Exponent", with("\"id\":0", "\"id\":1e30"), false},
        Text{"TooLarge", with("\"id\":0", "\"id\":2147483648"), false},
        Text{"TooSmall", with("\"id\":0", "\"id\":-2147483649"), false},
        Text{"FarTooLarge", with("\"id\":0", "\"id\":" + std::string(400, '9')), false},
        Text{"TooLargeInArray", with("[4,2]", "[4,4294967298]"), false},
        Text{"NotANumber", with("\"id\":0", "\"id\":NaN"), false},
        Text{"SingleQuotes", with("\"id\"", "'id'"), false}, Text{"Comment", with("{", "{/* x */"), false},
        Text{"CommentBehind", with("}", "} // x"), false},
        Text{"LeadingZero", with("\"id\":0", "\"id\":00"), false},
        Text{"LeadingZeroElsewhere", with("{", "{\"x\":-01,"), false},
        Text{"BarePoint", with("{", "{\"x\":1.,"), false},
        Text{"BareExponent", with("{", "{\"x\":1e,"), false}, Text{"Plus", with("{", "{\"x\":+1,"), false},
        Text{"Hexadecimal", with("{", "{\"x\":0x10,"), false},
        Text{"Infinity", with("{", "{\"x\":-Infinity,"), false},
        Text{"CapitalTrue", with("{", "{\"x\":True,"), false},
        Text{"LineBreakInText", with("{", "{\"x\":\"a\nb\","), false},
        Text{"BadEscape", with("{", "{\"x\":\"\\x\","), false}, Text{"OpenText", with("}", ",\"x"), false},
        Text{"OpenEscape", with("}", ",\"x\\"), false},
        Text{"NegativeZero", with("\"id\":0", "\"id\":-0"), true},
        Text{"EveryKindElsewhere",
             with("{", R"({"x":[0,-0.5e+10,1E2,10.25,true,false,null,"\"\\\/'\u00e9",{}],)"), true},
        Text{"SecondOfTwoIsBad", with("}", ",\"id\":null}"), false},
        Text{"NestedTooDeep", with("{", "{\"x\":" + nested(100000) + ","), false},
        Text{"BadEncoding", with("{", "{\"\xff\xfe\":1,"), false}),
    [](const auto &test) { return test.param.name; });

TEST(HotConfig, RefusesNothing) {
    HotConfigObject object{};
    EXPECT_LT(hot_config_str_to_object(nullptr, &object), 0);
    EXPECT_LT(hot_config_str_to_object("{}", nullptr), 0);
}

} // namespace
