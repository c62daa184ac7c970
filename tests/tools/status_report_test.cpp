// What status says about cameras in every state, without one.

#include "strellctl/status_report.h"
#include "tools/ctl.h"

#include <gtest/gtest.h>

using ctl::StatusReport;

namespace {

/* A camera that lacks nothing. */
StatusReport whole() {
    StatusReport report;
    report.channels[0].info = shbf_channel_info_t{1, 120, 2, 1642496, 409664, 1, 4242};
    report.channels[1].info = shbf_channel_info_t{0, 0, 0, 0, 0, 0, 4242};
    report.board = ctl::parse_board_status(
        R"({"phase":"running","source":{"name":"a file","error":"","frames":7},"channels":[)"
        R"({"encoding":"H.265","width":640,"height":360,"fps":15,"bitrate":256000,"fault":null},)"
        R"({"encoding":"H.264","width":320,"height":180,"fps":10,"bitrate":90000,"fault":{"kind":"stall"}}]})");
    report.store_there = true;
    report.bind_status = "ok";
    return report;
}

void take_away_channel(StatusReport *report, size_t index) {
    report->channels[index] = {std::nullopt, "channel trouble"};
}

void take_away_store(StatusReport *report) {
    report->store_there = false;
    report->store_trouble = "store trouble";
    report->bind_status.reset();
}

TEST(StatusReport, OfAWholeCamera) {
    const StatusReport report = whole();
    EXPECT_TRUE(report.good());
    EXPECT_EQ(ctl::status_trouble(report), "");
    EXPECT_EQ(
        ctl::status_text(report),
        "main   served by process 4242, 1 receiver, 120 published, 2 skipped, arena 409.7 KB of 1.6 MB\n"
        "sub    served by process 4242, 0 receivers, 0 published, 0 skipped\n"
        "board  software board, running, source a file, 7 frames captured\n"
        "       main  H.265 640x360, 15 fps, 256 kbit/s\n"
        "       sub   H.264 320x180, 10 fps, 90 kbit/s, told to fail: stall\n"
        "store  there, the camera is bound\n");
}

TEST(StatusReport, AsJson) {
    const ctl_test::Json json(ctl::status_json(whole()));
    EXPECT_TRUE(json.truth("good"));
    EXPECT_TRUE(json.truth("channels.main.served"));
    EXPECT_EQ(json.number("channels.main.pid"), 4242);
    EXPECT_EQ(json.number("channels.main.receivers"), 1);
    EXPECT_EQ(json.number("channels.main.published"), 120);
    EXPECT_EQ(json.number("channels.main.skipped"), 2);
    EXPECT_EQ(json.number("channels.main.arena_bytes"), 1642496);
    EXPECT_EQ(json.number("channels.main.arena_used"), 409664);
    EXPECT_EQ(json.number("channels.main.buffers"), 1);
    EXPECT_FALSE(json.has("channels.main.error"));
    EXPECT_EQ(json.text("board.status.source.name"), "a file");
    EXPECT_EQ(json.text("store.bind_status"), "ok");
}

TEST(StatusReport, WithoutDaemonOrStoreIsNotGood) {
    for (const size_t index : {0U, 1U}) {
        StatusReport report = whole();
        take_away_channel(&report, index);
        EXPECT_FALSE(report.good());
        EXPECT_EQ(ctl::status_trouble(report), "channel trouble");
        EXPECT_NE(ctl::status_text(report).find("not served"), std::string::npos);
        const ctl_test::Json json(ctl::status_json(report));
        const std::string channel = std::string("channels.") + ctl::streams[index].name;
        EXPECT_FALSE(json.truth(channel + ".served"));
        EXPECT_EQ(json.text(channel + ".error"), "channel trouble");
        EXPECT_FALSE(json.has(channel + ".pid"));
    }
    StatusReport report = whole();
    take_away_store(&report);
    EXPECT_FALSE(report.good());
    EXPECT_EQ(ctl::status_trouble(report), "store trouble");
    EXPECT_EQ(ctl_test::Json(ctl::status_json(report)).text("store.error"), "store trouble");
}

TEST(StatusReport, TheDaemonIsNamedBeforeTheStore) {
    StatusReport report = whole();
    take_away_channel(&report, 0);
    take_away_store(&report);
    EXPECT_EQ(ctl::status_trouble(report), "channel trouble");
}

TEST(StatusReport, ARealCameraHasNoSoftwareBoard) {
    StatusReport report = whole();
    report.board.reset();
    report.board_trouble = "no boardd";
    EXPECT_TRUE(report.good());
    EXPECT_NE(ctl::status_text(report).find("board  no software board here\n"), std::string::npos);
    const ctl_test::Json json(ctl::status_json(report));
    EXPECT_FALSE(json.truth("board.there"));
    EXPECT_EQ(json.text("board.error"), "no boardd");
}

TEST(StatusReport, SaysWhenThereWillBeNoVideo) {
    for (const std::optional<std::string> &value : {std::optional<std::string>(), {"no"}}) {
        StatusReport report = whole();
        report.bind_status = value;
        EXPECT_TRUE(report.good());
        EXPECT_NE(ctl::status_text(report).find("strellctl set bind_status ok"), std::string::npos);
        EXPECT_EQ(ctl_test::Json(ctl::status_json(report)).is_null("store.bind_status"), !value);
    }
    StatusReport report = whole();
    report.board = ctl::parse_board_status(R"({"phase":"running","source":{"error":"no\u001bsuch file"}})");
    EXPECT_NE(ctl::status_text(report).find("the source fails: no\\x1bsuch file\n"), std::string::npos)
        << ctl::status_text(report);
}

} // namespace
