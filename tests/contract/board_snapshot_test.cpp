// libboardav.h, still pictures and raw frames: get_jpeg_snap and get_raw_frame.

#include "board/protocol.h"
#include "contract/picture_fixture.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace contract {
namespace {

using BoardSnapshot = PictureTest;

constexpr uint32_t raw_bytes = 368640;
const std::vector<std::string> snow = {"--source", "videotestsrc is-live=true pattern=snow"};
/* A source that brings no picture, and no error either. */
const std::vector<std::string> mute_source = {"--source", "videotestsrc is-live=true ! valve drop=true"};

template <typename Info>
bool is_zero(const Info &info) {
    const Info zero{};
    return std::memcmp(&info, &zero, sizeof info) == 0;
}

/* ---- snapshots ---- */

TEST_F(BoardSnapshot, IsAJpegOfTheMainStreamsSize) {
    start_picture();
    const uint64_t before_us = monotonic_us();
    const Pixels pixels = snapshot();
    EXPECT_EQ(pixels.width, 320);
    EXPECT_EQ(pixels.height, 180);
    ASSERT_GT(jpeg_.size(), 4U);
    EXPECT_EQ(jpeg_[0], 0xFF);
    EXPECT_EQ(jpeg_[1], 0xD8);
    EXPECT_EQ(info_.board0, 2U);
    EXPECT_EQ(info_.board24, 0U);
    EXPECT_EQ(info_.board28, 0U);
    EXPECT_EQ(info_.seq, 0U);
    EXPECT_NE(info_.is_key, 0U);
    EXPECT_GT(info_.timestamp_us + 500'000, before_us) << "a frame of this moment, not an old one";
    EXPECT_LT(info_.timestamp_us, monotonic_us());
    snapshot();
    EXPECT_EQ(info_.seq, 1U);
    EXPECT_EQ(status("/picture/snapshots"), "2");
}

TEST_F(BoardSnapshot, ShowsWhatTheStreamShows) {
    start_picture({"--source", "videotestsrc is-live=true pattern=smpte75"});
    ASSERT_EQ(disable_osd(), 0);
    const Pixels stream = shown();
    const Pixels still = snapshot();
    ASSERT_EQ(stream.width, still.width);
    EXPECT_LT(difference(stream, still, everything), 4);
    EXPECT_NEAR(stream.mean_chroma(0, {0, 0, 40, 60}), still.mean_chroma(0, {0, 0, 40, 60}), 3);
    EXPECT_NEAR(stream.mean_chroma(1, {0, 0, 40, 60}), still.mean_chroma(1, {0, 0, 40, 60}), 3);
}

TEST_F(BoardSnapshot, HasTheMainStreamsSizeEvenIfThatIsTheSmallerOne) {
    start_board(profile_of(h264_channel(128, 96, 20), h265_channel(320, 180, 20)));
    const Pixels pixels = snapshot();
    EXPECT_EQ(pixels.width, 128);
    EXPECT_EQ(pixels.height, 96);
    EXPECT_LT(pixels.mean_luma({0, 0, 100, 5}), 20) << "borders, as in the stream";
}

TEST_F(BoardSnapshot, NoisyPicturesLoseQualityAndNotSize) {
    start_board(profile_of(h264_channel(1280, 720, 5), h264_channel(64, 64, 5)), snow);
    const Pixels pixels = snapshot();
    EXPECT_EQ(pixels.width, 1280);
    EXPECT_EQ(pixels.height, 720);
    EXPECT_GT(jpeg_.size(), snapshot_capacity / 3) << "it could have been better";
}

TEST_F(BoardSnapshot, FitsIntoLittleMemory) {
    start_picture(snow);
    for (const uint32_t capacity : {30000U, 10000U, 3000U, 1000U}) {
        const Pixels pixels = snapshot(capacity);
        EXPECT_LE(pixels.width, 320) << capacity;
        // As a last resort in half the size, and half of that.
        EXPECT_EQ(pixels.width, capacity >= 10000 ? 320 : pixels.width);
    }
}

TEST_F(BoardSnapshot, WritesNothingBehindThePicture) {
    start_picture();
    std::vector<uint8_t> memory(snapshot_capacity, 0xEE);
    ASSERT_EQ(get_jpeg_snap(memory.data(), 20000, &info_), 0);
    EXPECT_TRUE(
        std::all_of(memory.begin() + info_.len, memory.end(), [](uint8_t byte) { return byte == 0xEE; }));
}

TEST_F(BoardSnapshot, FailsWhenNoPictureFitsAtAll) {
    start_picture();
    std::vector<uint8_t> memory(1000, 0xEE);
    for (const uint32_t capacity : {0U, 1U, 100U}) {
        std::memset(&info_, 0xEE, sizeof info_);
        EXPECT_LT(get_jpeg_snap(memory.data(), capacity, &info_), 0);
        EXPECT_TRUE(is_zero(info_));
    }
    EXPECT_LT(get_jpeg_snap(nullptr, 1000, &info_), 0);
    EXPECT_LT(get_jpeg_snap(memory.data(), 1000, nullptr), 0);
    EXPECT_TRUE(std::all_of(memory.begin(), memory.end(), [](uint8_t byte) { return byte == 0xEE; }));
    snapshot();
}

TEST_F(BoardSnapshot, IsTakenWhileTheStreamsRestAndWhileTheyRun) {
    start_picture();
    ASSERT_EQ(stop_stream(), 0);
    snapshot();
    ASSERT_EQ(start_stream(), 0);
    std::vector<Frame> frames;
    for (int i = 0; i < 5; ++i) {
        get_jpeg_snap(jpeg_.data(), snapshot_capacity, &info_);
        frames.push_back(next_frame(0));
    }
    EXPECT_EQ(decoded(frames, run_dir_), "hevc,320,180,5");
}

/* ---- raw frames ---- */

class BoardRawFrame : public PictureTest {};

TEST_F(BoardRawFrame, IsTheNextFrameThatIsCaptured) {
    start_picture();
    uint64_t last_us = 0;
    for (uint32_t i = 0; i < 5; ++i) {
        raw_frame();
        EXPECT_EQ(raw_info_.board0, 640U);
        EXPECT_EQ(raw_info_.board4, 384U);
        EXPECT_EQ(raw_info_.board8, 0U);
        EXPECT_EQ(raw_info_.board12, i);
        EXPECT_GT(raw_info_.timestamp_us, last_us);
        last_us = raw_info_.timestamp_us;
    }
    EXPECT_EQ(status("/picture/raw_frames"), "5");
}

TEST_F(BoardRawFrame, IsTheWholePicture) {
    start_picture({"--source", "videotestsrc is-live=true pattern=smpte75"});
    ASSERT_EQ(disable_osd(), 0);
    const Pixels raw = raw_frame();
    const Pixels still = snapshot();
    for (const Part &part : {Part{0, 0, 10, 60}, {30, 0, 40, 60}, {90, 0, 100, 60}, {0, 80, 15, 100}}) {
        EXPECT_NEAR(raw.mean_luma(part), still.mean_luma(part), 3);
        EXPECT_NEAR(raw.mean_chroma(0, part), still.mean_chroma(0, part), 5);
        EXPECT_NEAR(raw.mean_chroma(1, part), still.mean_chroma(1, part), 5);
    }
}

TEST_F(BoardRawFrame, NeedsRoomForAllOfIt) {
    start_picture();
    std::vector<uint8_t> memory(raw_bytes + 100, 0xEE);
    std::memset(&raw_info_, 0xEE, sizeof raw_info_);
    EXPECT_LT(get_raw_frame(memory.data(), raw_bytes - 1, &raw_info_, 1), 0);
    EXPECT_TRUE(is_zero(raw_info_));
    EXPECT_LT(get_raw_frame(nullptr, raw_bytes, &raw_info_, 1), 0);
    EXPECT_LT(get_raw_frame(memory.data(), raw_bytes, nullptr, 1), 0);
    ASSERT_EQ(get_raw_frame(memory.data(), raw_bytes + 100, &raw_info_, 0), 0);
    EXPECT_EQ(raw_info_.len, raw_bytes);
    EXPECT_TRUE(
        std::all_of(memory.begin() + raw_bytes, memory.end(), [](uint8_t byte) { return byte == 0xEE; }));
}

/* ---- both ---- */

TEST_F(BoardRawFrame, NeitherWaitsForeverForASourceThatBringsNothing) {
    start_picture(mute_source);
    std::vector<uint8_t> memory(raw_bytes);
    std::memset(&raw_info_, 0xEE, sizeof raw_info_);
    EXPECT_LT(get_raw_frame(memory.data(), raw_bytes, &raw_info_, 1), 0);
    EXPECT_TRUE(is_zero(raw_info_));
    std::memset(&info_, 0xEE, sizeof info_);
    EXPECT_LT(get_jpeg_snap(memory.data(), raw_bytes, &info_), 0);
    EXPECT_TRUE(is_zero(info_));
}

TEST_F(BoardRawFrame, NeitherIsThereBeforeTheBoardRunsOrAfterItsEnd) {
    start_boardd();
    std::vector<uint8_t> memory(raw_bytes);
    const auto expect_nothing = [&] {
        std::memset(&raw_info_, 0xEE, sizeof raw_info_);
        std::memset(&info_, 0xEE, sizeof info_);
        EXPECT_LT(get_raw_frame(memory.data(), raw_bytes, &raw_info_, 1), 0);
        EXPECT_LT(get_jpeg_snap(memory.data(), raw_bytes, &info_), 0);
        EXPECT_TRUE(is_zero(raw_info_) && is_zero(info_));
    };
    expect_nothing();
    const VencConfig profile = profile_of(h265_channel(64, 64), h264_channel(64, 64));
    ASSERT_EQ(control_venc_dynamically(&profile), 0);
    ASSERT_EQ(board_system_init(1), 0);
    raw_frame();
    snapshot();
    board_system_exit();
    expect_nothing();
}

TEST_F(BoardRawFrame, ABoardThatFailsMeanwhileIsAFailure) {
    start_board(profile_of(h264_channel(64, 64, 1), h264_channel(64, 64, 1)));
    std::vector<uint8_t> memory(raw_bytes);
    std::atomic<bool> ended{false};
    std::thread reader([&] {
        while (get_raw_frame(memory.data(), raw_bytes, &raw_info_, 1) >= 0) {
        }
        ended = true;
    });
    ASSERT_TRUE(support::eventually([&] { return status_number("/picture/raw_frames") > 0; }));
    boardd_->signal(SIGKILL);
    EXPECT_TRUE(support::eventually([&] { return ended.load(); }));
    reader.join();
    EXPECT_TRUE(is_zero(raw_info_));
    Frame frame{};
    EXPECT_EQ(fetch(0, frame), -1);
}

TEST_F(BoardRawFrame, WhoeverWaitsForAPictureHoldsUpNobodyElse) {
    start_board(profile_of(h264_channel(64, 64, 2), h264_channel(64, 64, 2)));
    std::atomic<int> waiting{2};
    std::thread raw([&] {
        raw_frame();
        raw_frame();
        --waiting;
    });
    std::thread still([&] {
        snapshot();
        snapshot();
        --waiting;
    });
    int updates = 0;
    while (waiting > 0) {
        EXPECT_EQ(osd_update_timestamp(0), 0);
        ++updates;
    }
    raw.join();
    still.join();
    EXPECT_GT(updates, 20) << "two raw frames take more than half a second";
}

/* ---- clients that are not to be trusted ---- */

class HostileSnapshots : public BoardTest {
  protected:
    HostileSnapshots() : fd_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)) {}
    ~HostileSnapshots() override { close(fd_); }

    void connect_raw() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, run_dir_.file("boardd").c_str(), sizeof address.sun_path - 1);
        ASSERT_EQ(connect(fd_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        const timeval patience = {20, 0};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    void send_request(uint32_t op, int32_t value, const std::string &payload = "") {
        const board::ControlRequest request = {board::control_magic, op, 5, value};
        std::string packet(reinterpret_cast<const char *>(&request), sizeof request);
        packet += payload;
        ASSERT_EQ(send(fd_, packet.data(), packet.size(), MSG_NOSIGNAL), static_cast<ssize_t>(packet.size()));
    }
    int32_t next_result() {
        char bytes[1000];
        board::ControlReply reply{};
        EXPECT_GE(recv(fd_, bytes, sizeof bytes, 0), static_cast<ssize_t>(sizeof reply));
        std::memcpy(&reply, bytes, sizeof reply);
        return reply.result;
    }
    int32_t ask(uint32_t op, int32_t value, const std::string &payload = "") {
        send_request(op, value, payload);
        return next_result();
    }

    int fd_;
};

TEST_F(HostileSnapshots, ControlsAreTheOwnersAndOfTheRightSize) {
    start_board();
    connect_raw();
    for (uint32_t op = board::op_streaming; op <= board::op_board_param; ++op) {
        const bool has_payload = op == board::op_set_white || op == board::op_bitrate ||
                                 op == board::op_track || op == board::op_motion_regions;
        EXPECT_EQ(ask(op, 1), has_payload ? -EINVAL : -EBUSY) << op;
        EXPECT_EQ(ask(op, 1, std::string(1, 'x')), -EINVAL) << op;
    }
    EXPECT_EQ(ask(board::op_board_param + 1, 0), -ENOSYS);
    EXPECT_EQ(status("/picture/flip"), "false");
}

TEST_F(HostileSnapshots, SnapshotsAreForAnyoneWhileTheBoardRuns) {
    start_boardd();
    connect_raw();
    EXPECT_EQ(ask(board::op_jpeg_snapshot, 1000), -ENODEV);
    EXPECT_EQ(ask(board::op_raw_frame, 1), -ENODEV);
    const VencConfig profile = profile_of(h265_channel(), h264_channel());
    ASSERT_EQ(control_venc_dynamically(&profile), 0);
    ASSERT_EQ(board_system_init(1), 0);
    EXPECT_EQ(ask(board::op_jpeg_snapshot, 100'000), 0);
    EXPECT_EQ(ask(board::op_raw_frame, 1), 0);
    EXPECT_EQ(ask(board::op_jpeg_snapshot, 0), -EINVAL);
    EXPECT_EQ(ask(board::op_jpeg_snapshot, INT32_MIN), -EINVAL);
    EXPECT_EQ(ask(board::op_jpeg_snapshot, 1), -ENOSPC);
}

TEST_F(HostileSnapshots, AFloodIsRefusedAndTheBoardGoesOn) {
    start_board(profile_of(h265_channel(64, 64, 2), h264_channel(64, 64, 2)));
    connect_raw();
    for (int i = 0; i < 60; ++i) {
        send_request(board::op_raw_frame, 1);
    }
    int refused = 0;
    for (int i = 0; i < 60; ++i) {
        const int32_t result = next_result();
        refused += result == -EAGAIN ? 1 : 0;
        EXPECT_TRUE(result == 0 || result == -EAGAIN) << result;
    }
    EXPECT_GT(refused, 0);
    for (int i = 0; i < 10; ++i) {
        send_request(board::op_raw_frame, 1);
    }
    shutdown(fd_, SHUT_RDWR); // and is gone before its frames come
    std::vector<uint8_t> memory(raw_bytes);
    RawFrameInfo info{};
    EXPECT_EQ(get_raw_frame(memory.data(), raw_bytes, &info, 1), 0) << boardd_->output();
}

} // namespace
} // namespace contract
