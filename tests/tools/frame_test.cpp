// Hostile and odd bytes: frames, the board's status, bitstreams.

#include "board/boardctl.h"
#include "strellctl/bitstream.h"
#include "strellctl/board_status.h"
#include "strellctl/frame.h"
#include "tools/small_h264.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

using ctl::Codec;
using ctl::StreamFormat;
using ctl_test::small_h264;

namespace {

struct Buffer {
    explicit Buffer(const VideoFrameInfo &info, const std::string &payload) : bytes(sizeof info, '\0') {
        std::memcpy(bytes.data(), &info, sizeof info);
        bytes += payload;
    }
    shbf_frame_t frame() const { return frame_of(bytes.size()); }
    shbf_frame_t frame_of(size_t size) const {
        shbf_frame_t frame{};
        frame.data = bytes.data();
        frame.size = static_cast<uint32_t>(size);
        return frame;
    }
    std::string bytes;
};

VideoFrameInfo info_of(uint32_t len) {
    VideoFrameInfo info{};
    info.board0 = 1;
    info.len = len;
    info.is_key = 1;
    info.board24 = 640U | 360U << 16;
    return info;
}

TEST(Frame, IsHeaderAndPayload) {
    const Buffer buffer(info_of(5), "bytes");
    const auto view = ctl::view_frame(buffer.frame());
    ASSERT_TRUE(view);
    EXPECT_EQ(view->payload, "bytes");
    EXPECT_EQ(view->info.len, 5U);
}

TEST(Frame, AnythingElseIsNone) {
    const Buffer buffer(info_of(5), "bytes");
    for (size_t size = 0; size < buffer.bytes.size(); ++size) {
        EXPECT_FALSE(ctl::view_frame(buffer.frame_of(size))) << size;
    }
    for (const uint32_t length : {0U, 4U, 6U, 0xffffffffU, 0xffffffe5U}) {
        EXPECT_FALSE(ctl::view_frame(Buffer(info_of(length), "bytes").frame())) << length;
    }
    EXPECT_FALSE(ctl::view_frame(Buffer(info_of(0), "").frame())) << "a frame without payload is none";
}

TEST(Frame, TheHeaderMayTellTheFormat) {
    VideoFrameInfo info = info_of(1);
    EXPECT_EQ(ctl::format_in_header(info), (StreamFormat{Codec::h265, 640, 360}));
    info.board0 = 0;
    EXPECT_EQ(ctl::format_in_header(info), (StreamFormat{Codec::h264, 640, 360}));
    info.board0 = 2;
    EXPECT_FALSE(ctl::format_in_header(info));
    info.board0 = 1;
    for (const uint32_t word : {0U, 640U, 360U << 16, 0xffffffffU}) {
        info.board24 = word;
        EXPECT_FALSE(ctl::format_in_header(info)) << word;
    }
    EXPECT_EQ(ctl::format_text(std::nullopt), "?");
    EXPECT_EQ(ctl::format_text(StreamFormat{Codec::h264, 640, 360}), "H.264 640x360");
}

TEST(Bitstream, TellsCodecAndSize) {
    EXPECT_EQ(ctl::format_in_bitstream(small_h264()), (StreamFormat{Codec::h264, 64, 64}));
}

TEST(Bitstream, NoiseIsNoVideo) {
    EXPECT_FALSE(ctl::format_in_bitstream("this is no video"));
    EXPECT_FALSE(ctl::format_in_bitstream(std::string(5000, '\xff')));
    std::string noise;
    for (unsigned i = 0; i < 5000; ++i) {
        noise += static_cast<char>(i * i * 31 >> 3);
    }
    EXPECT_FALSE(ctl::format_in_bitstream(noise));
}

TEST(FormatFinder, BelievesAPlausibleHeaderAndReadsThePayloadOtherwise) {
    const std::string stream = small_h264();
    ctl::FormatFinder finder;
    ctl::FrameView frame = {info_of(static_cast<uint32_t>(stream.size())), stream};
    frame.info.board0 = 77; // another board's own word
    frame.info.is_key = 0;
    finder.add(frame);
    EXPECT_FALSE(finder.format()) << "only a key frame tells";
    frame.info.is_key = 1;
    frame.info.seq = 1;
    finder.add(frame);
    EXPECT_EQ(finder.format(), (StreamFormat{Codec::h264, 64, 64}));
    frame.info.board0 = 1;
    frame.info.seq = 2;
    finder.add(frame);
    EXPECT_EQ(finder.format(), (StreamFormat{Codec::h265, 640, 360}));
}

TEST(BoardStatus, TakesWhatIsThere) {
    const ctl::BoardStatus status = ctl::parse_board_status(
        R"({"phase":"running","source":{"name":"test scene","error":"","frames":7},"channels":[)"
        R"({"encoding":"H.265","width":640,"height":360,"fps":15,"bitrate":256000,"lost":3,"fault":null},)"
        R"({"encoding":"H.264","fault":{"kind":"stall"}}]})");
    EXPECT_EQ(status.phase, "running");
    EXPECT_EQ(status.source, "test scene");
    EXPECT_EQ(status.captured, 7);
    EXPECT_EQ(status.channels[0].width, 640);
    EXPECT_EQ(status.channels[0].bitrate, 256000);
    EXPECT_EQ(status.channels[0].lost, 3);
    EXPECT_EQ(status.channels[0].fault, "");
    EXPECT_EQ(status.channels[1].fault, "stall");
}

TEST(BoardStatus, OddAnswersDoNoHarm) {
    for (const char *text : {"{}", R"({"channels":7,"source":[],"phase":1})", R"({"channels":[]})",
                             R"({"channels":[1,null]})"}) {
        const ctl::BoardStatus status = ctl::parse_board_status(text);
        EXPECT_EQ(status.phase, "") << text;
        EXPECT_EQ(status.channels[0].encoding, "") << text;
    }
    for (const char *text : {"", "[]", "nonsense", "\"text\""}) {
        EXPECT_THROW(ctl::parse_board_status(text), board::BoardCtlError) << text;
    }
}

} // namespace
