#include "contract/board_fixture.h"

#include <cstdio>
#include <ctime>
#include <json-c/json.h>
#include <json-c/json_pointer.h>

namespace contract {

BoardTest::BoardTest() {
    static int tests = 0;
    if (++tests > 1) {
        ADD_FAILURE() << "one test for each process: run these with ctest, or with --gtest_filter";
    }
}

void BoardTest::TearDown() {
    if (HasFailure() && boardd_) {
        std::fprintf(stderr, "boardd said:\n%s", boardd_->output().c_str());
    }
}

void BoardTest::start_boardd(const std::vector<std::string> &options) {
    boardd_.emplace(options);
}

void BoardTest::start_board(const VencConfig &profile, const std::vector<std::string> &options) {
    start_boardd(options);
    ASSERT_EQ(control_venc_dynamically(&profile), 0);
    ASSERT_EQ(board_system_init(1), 0) << boardd_->output();
}

int32_t BoardTest::fetch(int32_t channel, Frame &frame, uint32_t capacity) {
    frame.payload.resize(capacity);
    const int32_t result = get_video_stream(channel, frame.payload.data(), capacity, &frame.info);
    frame.payload.resize(result >= 0 ? frame.info.len : 0);
    return result;
}

Frame BoardTest::next_frame(int32_t channel) {
    Frame frame{};
    int32_t result = 0;
    const bool came = support::eventually([&] {
        result = fetch(channel, frame);
        return result < 0 || frame.info.len > 0;
    });
    EXPECT_TRUE(came) << boardd_->output();
    EXPECT_GE(result, 0) << boardd_->output();
    return result < 0 ? Frame{} : frame;
}

std::vector<Frame> BoardTest::next_frames(int32_t channel, size_t count) {
    std::vector<Frame> frames;
    while (frames.size() < count && !HasFailure()) {
        frames.push_back(next_frame(channel));
    }
    return frames;
}

bool BoardTest::fetch_until(int32_t channel, int32_t result) {
    Frame frame{};
    return support::eventually([&] { return fetch(channel, frame) == result; });
}

std::string BoardTest::status(const std::string &pointer) {
    json_object *root = json_tokener_parse(board::BoardCtl().status().c_str());
    json_object *member = nullptr;
    json_pointer_get(root, pointer.c_str(), &member);
    const char *text = member != nullptr ? json_object_get_string(member) : "null";
    std::string result = text;
    json_object_put(root);
    return result;
}

std::string decoded(const std::vector<Frame> &frames, const support::ScratchRunDir &run_dir) {
    const std::string path = run_dir.file("stream.bin");
    FILE *file = std::fopen(path.c_str(), "wb");
    for (const Frame &frame : frames) {
        std::fwrite(frame.payload.data(), 1, frame.payload.size(), file);
    }
    std::fclose(file);
    const auto probe =
        support::run({"ffprobe", "-v", "error", "-count_frames", "-show_entries",
                      "stream=codec_name,width,height,nb_read_frames", "-of", "csv=p=0", path});
    return probe.output.substr(0, probe.output.find_last_not_of('\n') + 1);
}

std::vector<int> unit_types(const Frame &frame) {
    const bool h265 = frame.info.board0 == 1;
    const std::vector<uint8_t> &bytes = frame.payload;
    std::vector<int> types;
    for (size_t i = 0; i + 3 < bytes.size(); ++i) {
        if (bytes[i] == 0 && bytes[i + 1] == 0 && bytes[i + 2] == 1) {
            types.push_back(h265 ? (bytes[i + 3] >> 1) & 0x3f : bytes[i + 3] & 0x1f);
            i += 3;
        }
    }
    return types;
}

uint64_t monotonic_us() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1'000'000U + static_cast<uint64_t>(now.tv_nsec) / 1000U;
}

} // namespace contract
