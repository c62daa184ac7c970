// libvuto_util and libvuto_statistics: log lines as a person sees them, rounding, reports as the service gets
// them.

#include "libvuto_statistics.h"
#include "libvuto_util.h"
#include "support/scratch.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <json-c/json.h>
#include <regex>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

/* What `body` writes to standard error. */
template <typename Body>
std::string stderr_of(Body body) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const int saved = dup(STDERR_FILENO);
    dup2(ends[1], STDERR_FILENO);
    body();
    dup2(saved, STDERR_FILENO);
    close(saved);
    close(ends[1]);
    std::string text(65536, '\0');
    text.resize(static_cast<size_t>(std::max<ssize_t>(read(ends[0], text.data(), text.size()), 0)));
    close(ends[0]);
    return text;
}

TEST(Log, OneLineEachWithTimeAndLevel) {
    const std::string text = stderr_of([] {
        log_err("%s(),%d\n", "main", 637);
        log_warning("no newline");
        log_info("two\n\n");
        log_debug("shbf_mde\r\n");
    });
    const std::string time = R"(\d+\.\d{6} )";
    EXPECT_TRUE(
        std::regex_match(text, std::regex(time + "error main\\(\\),637\n" + time + "warning no newline\n" +
                                          time + "info two\n" + time + "debug shbf_mde\n")))
        << text;
}

TEST(Log, KeepsErrno) {
    stderr_of([] {
        errno = ENOENT;
        log_info("%d\n", 1);
        EXPECT_EQ(errno, ENOENT);
    });
}

TEST(Log, ExpandsTheErrorOfTheMoment) {
    const std::string text = stderr_of([] {
        errno = ENOENT;
        log_err("Open %s failed: %m\n", "/tmp/x");
    });
    EXPECT_NE(text.find("Open /tmp/x failed: No such file or directory\n"), std::string::npos);
}

TEST(Log, CutsALongLineAndStillEndsIt) {
    const std::string text = stderr_of([] { log_info("%s", std::string(5000, 'x').c_str()); });
    EXPECT_EQ(text.size(), 1024U);
    EXPECT_EQ(text.back(), '\n');
}

TEST(Log, SaysHowManyBytesItWrote) {
    int result = 0;
    const std::string text = stderr_of([&] { result = log_info("abc\n"); });
    EXPECT_EQ(static_cast<size_t>(result), text.size());
}

TEST(Round, UpToAMultiple) {
    EXPECT_EQ(vuto_round(40, 64), 64U);
    EXPECT_EQ(vuto_round(64, 64), 64U);
    EXPECT_EQ(vuto_round(65, 64), 128U);
    EXPECT_EQ(vuto_round(40, 128), 128U);
    EXPECT_EQ(vuto_round(368640, 128), 368640U);
    EXPECT_EQ(vuto_round(0, 64), 0U);
    EXPECT_EQ(vuto_round(7, 3), 9U);
    EXPECT_EQ(vuto_round(7, 0), 7U);
}

class Statistics : public testing::Test {
  protected:
    Statistics() : service_(socket(AF_UNIX, SOCK_DGRAM, 0)) {}
    ~Statistics() override { close(service_); }

    void bind_service() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, run_dir_.file("vuto_statistics").c_str(), sizeof address.sun_path - 1);
        ASSERT_EQ(bind(service_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    }

    static json_object *type_object(int type) {
        json_object *object = json_object_new_object();
        json_object_object_add(object, "type", json_object_new_int(type));
        return object;
    }

    support::ScratchRunDir run_dir_;
    int service_;
};

TEST_F(Statistics, ReportArrivesAsOneDatagram) {
    bind_service();
    EXPECT_EQ(report_stat_object("strell_v2.err", type_object(3)), 0);
    char text[200] = "";
    const ssize_t length = recv(service_, text, sizeof text - 1, MSG_DONTWAIT);
    ASSERT_GT(length, 0);
    EXPECT_STREQ(text, R"({"name":"strell_v2.err","object":{"type":3}})");
}

TEST_F(Statistics, TakesTheObjectOver) {
    json_object *object = type_object(0);
    json_object_get(object);
    report_stat_object("strell_v2.err", object);
    EXPECT_EQ(json_object_put(object), 1) << "the library kept a reference";
}

TEST_F(Statistics, WithoutAServiceTheReportIsLost) {
    EXPECT_LT(report_stat_object("strell_v2.err", type_object(0)), 0);
}

TEST_F(Statistics, AServiceThatDoesNotReadIsNotWaitedFor) {
    bind_service();
    int failed = 0;
    for (int i = 0; i < 10000 && failed == 0; ++i) {
        failed = report_stat_object("strell_v2.err", type_object(0));
    }
    EXPECT_EQ(failed, -EAGAIN);
}

TEST_F(Statistics, RefusesNothingToSay) {
    EXPECT_EQ(report_stat_object(nullptr, type_object(0)), -EINVAL);
    EXPECT_EQ(report_stat_object("strell_v2.err", nullptr), -EINVAL);
}

} // namespace
