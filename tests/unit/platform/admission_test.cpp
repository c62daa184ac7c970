// How often is often enough.

#include "libvuto_util.h"
#include "shbf/admission.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

/* What the library under test would have logged. */
std::vector<std::string> lines;

} // namespace

extern "C" int log_warning(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    char line[1024];
    const int length = vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    lines.emplace_back(line);
    return length;
}

extern "C" int log_err(const char *format, ...) {
    (void)format;
    return 0;
}

namespace {

/* How many of `tries` at one instant are allowed. */
int allowed(shbf::Rate *rate, uint32_t count, int64_t now_ms, int tries = 1000) {
    int result = 0;
    for (int i = 0; i < tries; ++i) {
        result += shbf::rate_allows(rate, count, 1000, now_ms) ? 1 : 0;
    }
    return result;
}

TEST(Rate, HasItsBurstAndThenItsPace) {
    shbf::Rate rate{};
    EXPECT_EQ(allowed(&rate, 100, 5000), 100);
    EXPECT_EQ(allowed(&rate, 100, 5009), 0);
    EXPECT_EQ(allowed(&rate, 100, 5010), 1);
    EXPECT_EQ(allowed(&rate, 100, 5110), 10);
    EXPECT_EQ(allowed(&rate, 100, 6110), 100);
    EXPECT_EQ(allowed(&rate, 100, 1000000), 100) << "what is not used is not saved";
}

TEST(Rate, AThingADayKeepsWithinItsBounds) {
    shbf::Rate rate{};
    constexpr uint32_t day_ms = 86400000;
    EXPECT_TRUE(shbf::rate_allows(&rate, 1, day_ms, 1));
    EXPECT_FALSE(shbf::rate_allows(&rate, 1, day_ms, day_ms));
    EXPECT_TRUE(shbf::rate_allows(&rate, 1, day_ms, day_ms + 1));
}

TEST(Rate, LooksOftenAndLosesNothing) {
    shbf::Rate rate{};
    EXPECT_EQ(allowed(&rate, 3, 0), 3);
    int later = 0;
    for (int64_t now = 1; now <= 10000; ++now) {
        later += shbf::rate_allows(&rate, 3, 1000, now) ? 1 : 0;
    }
    EXPECT_EQ(later, 30);
}

TEST(Rate, AClockThatStandsOrGoesBackFreesNothing) {
    shbf::Rate rate{};
    EXPECT_EQ(allowed(&rate, 2, 1000), 2);
    EXPECT_EQ(allowed(&rate, 2, 500), 0);
    EXPECT_EQ(allowed(&rate, 2, 500), 0);
}

class Admission : public testing::Test {
  protected:
    Admission() {
        lines.clear();
        admission_.channel = "/run/audio_in";
        shbf::policy_default(&admission_.policy);
    }
    shbf::Admission admission_{};
};

TEST_F(Admission, ReceiversAreCounted) {
    admission_.policy.receivers = 3;
    admission_.policy.receivers_per_user = 2;
    EXPECT_EQ(admission_of_receiver(&admission_, 0, 0), 0);
    EXPECT_EQ(admission_of_receiver(&admission_, 2, 1), 0);
    EXPECT_EQ(admission_of_receiver(&admission_, 2, 2), EUSERS);
    EXPECT_EQ(admission_of_receiver(&admission_, 3, 1), ENOSPC);
    EXPECT_EQ(admission_of_receiver(&admission_, 3, 2), ENOSPC);
}

TEST_F(Admission, MessagesAreMeasured) {
    shbf::Sending sending{};
    EXPECT_EQ(admission_of_message(&admission_, &sending, 65536), shbf::Verdict::deliver);
    admission_.policy.message_bytes = 10;
    EXPECT_EQ(admission_of_message(&admission_, &sending, 10), shbf::Verdict::deliver);
    EXPECT_EQ(admission_of_message(&admission_, &sending, 11), shbf::Verdict::too_long);
}

TEST_F(Admission, TenLinesAndThenSilence) {
    for (int i = 0; i < 1000; ++i) {
        admission_log(&admission_, {77, 1001, 1001}, EACCES);
    }
    // One each six seconds: a machine that takes long for this loop may have seen one more.
    ASSERT_GE(lines.size(), 10U);
    EXPECT_LE(lines.size(), 15U);
    EXPECT_EQ(lines[0],
              "shbf: /run/audio_in: process 77 of user 1001 refused, for it is not among the channel's "
              "users and groups\n");
}

TEST_F(Admission, ALineAfterSilenceSaysHowManyWereLeftOut) {
    admission_.unlogged = 12;
    admission_log(&admission_, {77, 1001, 1001}, ETIMEDOUT);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0], "shbf: /run/audio_in: process 77 of user 1001 refused, for it said nothing in time "
                        "(handshake_ms = 2000) (and 12 like it before)\n");
    EXPECT_EQ(admission_.unlogged, 0U);
}

TEST_F(Admission, EachReasonHasItsWords) {
    admission_.policy.messages_per_second = 5;
    const std::vector<std::pair<int, std::string>> reasons = {
        {EPERM, "until its access file is repaired"}, {ENOSPC, "(receivers = 32)"},
        {EUSERS, "(receivers_per_user = 32)"},        {EMSGSIZE, "(message_bytes = 65536)"},
        {EAGAIN, "(messages_per_second = 5)"},        {EPROTO, "none of this protocol"},
        {EPROTONOSUPPORT, "another version"},         {ENOMEM, "Cannot allocate memory"}};
    for (const auto &[error, words] : reasons) {
        admission_log(&admission_, {1, 2, 3}, error);
        EXPECT_NE(lines.back().find(words), std::string::npos) << lines.back();
    }
}

} // namespace
