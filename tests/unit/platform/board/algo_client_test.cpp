// libalgo_kit with a board that sends whatever the test says. One test for each process, since the library
// starts once.

#include "board/analytics_protocol.h"
#include "board/client/control_call.h"
#include "libalgo_kit.h"
#include "platform/board/fake_board.h"
#include "support/eventually.h"
#include "support/scratch.h"

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <mutex>

namespace {

using namespace board;
using fake::bytes_of;
using support::eventually;

std::mutex mutex;
std::vector<std::string> told;

void write(const std::string &entry) {
    const std::lock_guard<std::mutex> lock(mutex);
    told.push_back(entry);
}

std::vector<std::string> all_told() {
    const std::lock_guard<std::mutex> lock(mutex);
    return told;
}

int32_t on_event(const char *text, int32_t length) {
    write(std::string(text) + " " + std::to_string(length));
    return 0;
}

int32_t on_track(const void *record, int32_t length) {
    TrackDirection direction{};
    std::memcpy(&direction, record, sizeof direction);
    write("turn " + std::to_string(direction.horizontal) + " " + std::to_string(direction.vertical) + " " +
          std::to_string(length));
    return 0;
}

AlgoRecord record_of(AlgoWhat what, size_t bytes) {
    AlgoRecord record{};
    record.magic = algo_magic;
    record.kind = venc_frame;
    record.published_us = monotonic_us();
    record.info.what = what;
    record.info.len = static_cast<uint32_t>(bytes);
    return record;
}

std::string event_of(const std::string &text) {
    return bytes_of(record_of(algo_event, text.size() + 1), text + '\0');
}

std::string direction_of(int32_t horizontal, int32_t vertical, uint64_t age_us = 0) {
    const TrackDirection direction = {horizontal, vertical, 0};
    AlgoRecord record = record_of(algo_direction, sizeof direction);
    record.published_us -= age_us;
    return bytes_of(record, std::string(reinterpret_cast<const char *>(&direction), sizeof direction));
}

/* Whether the library's thread is there. */
bool listens() {
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(entry.path() / "comm"), name);
        if (name == "algo_kit") {
            return true;
        }
    }
    return false;
}

class AlgoClient : public testing::Test {
  protected:
    AlgoClient() { EXPECT_EQ(oru_api_algo_init(on_event, on_track), 0); }
    ~AlgoClient() override { oru_api_algo_deinit(); }

    support::ScratchRunDir run_dir_;
    fake::FakeBoard board_;
};

TEST_F(AlgoClient, TextsArriveAsTheyWereSentInOrder) {
    board_.publish_detection(event_of("Motion x=1 y=2 w=3 h=4 area=5"));
    board_.publish_detection(event_of("AbnormalSound level=93 threshold=90"));
    board_.publish_detection(event_of(std::string(algo_text_max_bytes - 1, 'x')));
    EXPECT_TRUE(eventually([] { return all_told().size() == 3; }));
    EXPECT_EQ(all_told()[0], "Motion x=1 y=2 w=3 h=4 area=5 29");
    EXPECT_EQ(all_told()[1], "AbnormalSound level=93 threshold=90 35");
    EXPECT_EQ(all_told()[2], std::string(95, 'x') + " 95");
}

TEST_F(AlgoClient, DirectionsArriveOnlyWhileTrackingAndWhileTheyAreNew) {
    board_.publish_detection(direction_of(1, 1));
    board_.publish_detection(event_of("Motion"));
    ASSERT_TRUE(eventually([] { return all_told().size() == 1; }));
    ASSERT_EQ(track_init(), 0);
    board_.publish_detection(direction_of(2, 2, algo_track_within_us + 1));
    board_.publish_detection(direction_of(-30, 7));
    ASSERT_TRUE(eventually([] { return all_told().size() == 2; }));
    EXPECT_EQ(all_told()[1], "turn -30 7 12");
}

TEST_F(AlgoClient, APausedOneThrowsTextsAway) {
    ASSERT_EQ(track_init(), 0);
    ASSERT_EQ(oru_api_algo_stop(), 0);
    board_.publish_detection(event_of("Motion"));
    board_.publish_detection(direction_of(5, 0));
    EXPECT_TRUE(eventually([] { return !all_told().empty(); }));
    EXPECT_EQ(all_told()[0], "turn 5 0 12");
}

struct Nonsense {
    const char *name;
    std::string bytes;
};

std::string changed(void (*change)(AlgoRecord &record), const std::string &payload) {
    AlgoRecord record = record_of(algo_event, payload.size());
    change(record);
    return bytes_of(record, payload);
}

class HostileBoard : public AlgoClient, public testing::WithParamInterface<int> {};

std::vector<Nonsense> nonsense() {
    const std::string good("Motion\0", 7);
    return {
        {"magic", changed([](AlgoRecord &r) { r.magic = mic_magic; }, good)},
        {"kind", changed([](AlgoRecord &r) { r.kind = venc_answer; }, good)},
        {"what", changed([](AlgoRecord &r) { r.info.what = 3; }, good)},
        {"too long", changed([](AlgoRecord &r) { r.info.len += 1; }, good)},
        {"too short", changed([](AlgoRecord &r) { r.info.len -= 1; }, good)},
        {"huge", changed([](AlgoRecord &r) { r.info.len = 0xffffffff; }, good)},
        {"no end", changed([](AlgoRecord &) {}, "Motion")},
        {"an end before the end", changed([](AlgoRecord &) {}, std::string("Mo\0ion\0", 7))},
        {"empty", changed([](AlgoRecord &) {}, std::string(1, '\0'))},
        {"nothing", changed([](AlgoRecord &) {}, "")},
        {"longer than any", event_of(std::string(algo_text_max_bytes, 'x'))},
        {"half a direction",
         changed([](AlgoRecord &r) { r.info.what = algo_direction; }, std::string(8, '\1'))},
        {"more than a direction",
         changed([](AlgoRecord &r) { r.info.what = algo_direction; }, std::string(16, '\1'))},
        {"half a record", std::string(40, '\1')},
    };
}

/* Nothing of it is told, and nothing after it: the board is not to be trusted any more. */
TEST_P(HostileBoard, IsLeftAlone) {
    const Nonsense one = nonsense().at(static_cast<size_t>(GetParam()));
    ASSERT_EQ(track_init(), 0);
    board_.publish_detection(event_of("first"));
    ASSERT_TRUE(eventually([] { return all_told().size() == 1; })) << one.name;
    board_.publish_detection(one.bytes);
    board_.publish_detection(event_of("after"));
    EXPECT_TRUE(eventually([] { return !listens(); })) << one.name;
    EXPECT_EQ(oru_api_algo_deinit(), 0);
    EXPECT_EQ(all_told().size(), 1U) << one.name << ": " << all_told().back();
}

INSTANTIATE_TEST_SUITE_P(Records, HostileBoard, testing::Range(0, 14));

} // namespace
