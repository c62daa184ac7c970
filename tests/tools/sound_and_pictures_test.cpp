// WAV files, replies with pictures, and the clock of playing: the parts of snapshot, listen and talk.

#include "libboardav.h"
#include "strellctl/failure.h"
#include "strellctl/raw_picture.h"
#include "strellctl/speaker.h"
#include "strellctl/wav_file.h"
#include "support/scratch.h"
#include "tools/probe.h"

#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace {

std::string content(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

// ---- WAV ----

TEST(WavFile, HasTheStandardHeader) {
    const unsigned char bytes[] = {'R', 'I', 'F',  'F',  0x24, 0x05, 0,   0,    'W',  'A', 'V',
                                   'E', 'f', 'm',  't',  ' ',  16,   0,   0,    0,    1,   0,
                                   1,   0,   0x80, 0x3e, 0,    0,    0,   0x7d, 0,    0,   2,
                                   0,   16,  0,    'd',  'a',  't',  'a', 0,    0x05, 0,   0};
    EXPECT_EQ(ctl::wav_header(1280), std::string(std::begin(bytes), std::end(bytes)));
}

TEST(WavFile, TellsItsTrueLengthAtTheEnd) {
    const support::ScratchRunDir dir;
    const std::string path = dir.file("x.wav");
    ctl::WavFile file(path);
    EXPECT_EQ(content(path), ctl::wav_header(ctl::wav_most_bytes)) << "of a stream, while it lasts";
    file.write("abcd");
    file.write("ef");
    EXPECT_EQ(file.sound_bytes(), 6U);
    file.finish();
    EXPECT_EQ(content(path), ctl::wav_header(6) + "abcdef");
}

TEST(WavFile, OnAFullDiskSaysSo) {
    ctl::WavFile *file = nullptr;
    EXPECT_THROW(file = new ctl::WavFile("/dev/full"), ctl::WriteFailure);
    delete file;
    EXPECT_THROW(ctl::WavFile("/nonexistent/x.wav"), ctl::Failure);
}

// ---- pictures ----

std::string jpeg_reply(const std::string &payload, uint32_t length) {
    VideoFrameInfo info{};
    info.len = length;
    return std::string(reinterpret_cast<const char *>(&info), sizeof info) + payload;
}

std::string raw_reply(const std::string &payload, uint32_t length) {
    RawFrameInfo info{};
    info.len = length;
    std::string header(reinterpret_cast<const char *>(&info), sizeof info);
    header.resize(ctl::raw_header_bytes, '\xee');
    return header + payload;
}

TEST(PictureReply, IsHeaderAndPicture) {
    const std::string jpeg = "\xff\xd8 and so on";
    EXPECT_EQ(ctl::jpeg_in(jpeg_reply(jpeg, static_cast<uint32_t>(jpeg.size()))), jpeg);
    const std::string raw(ctl::raw_picture_bytes, 'y');
    EXPECT_EQ(ctl::raw_picture_in(raw_reply(raw, ctl::raw_picture_bytes)), raw);
}

std::string failure_of(std::string_view (*read)(std::string_view), const std::string &frame) {
    try {
        read(frame);
    } catch (const ctl::Failure &failure) {
        return failure.what();
    }
    return "";
}

TEST(PictureReply, WithoutAPictureSaysSo) {
    for (const auto &text :
         {failure_of(ctl::jpeg_in, jpeg_reply("", 0)), failure_of(ctl::raw_picture_in, raw_reply("", 0))}) {
        EXPECT_NE(text.find("the reply is empty"), std::string::npos) << text;
    }
}

TEST(PictureReply, ThatMakesNoSenseIsRefused) {
    for (const auto &text :
         {failure_of(ctl::jpeg_in, ""), failure_of(ctl::jpeg_in, std::string(31, '\0')),
          failure_of(ctl::jpeg_in, jpeg_reply("\xff\xd8", 3)), failure_of(ctl::jpeg_in, jpeg_reply("PNG", 3)),
          failure_of(ctl::jpeg_in, jpeg_reply("\xff\xd8", 0)),
          failure_of(ctl::jpeg_in, jpeg_reply("\xff\xd8", 0xffffffff)),
          failure_of(ctl::raw_picture_in, std::string(63, '\0')),
          failure_of(ctl::raw_picture_in, raw_reply("y", 2))}) {
        EXPECT_NE(text.find("is no picture"), std::string::npos) << text;
    }
    EXPECT_NE(failure_of(ctl::raw_picture_in, raw_reply("yy", 2)).find("2 bytes"), std::string::npos);
}

TEST(PictureFormat, IsDecidedByTheEnding) {
    using ctl::PictureFormat;
    EXPECT_EQ(ctl::picture_format("a.jpg", false), PictureFormat::jpeg);
    EXPECT_EQ(ctl::picture_format("a.jpeg", true), PictureFormat::jpeg);
    EXPECT_EQ(ctl::picture_format("a.png", true), PictureFormat::png);
    EXPECT_EQ(ctl::picture_format("a.y4m", true), PictureFormat::y4m);
    EXPECT_EQ(ctl::picture_format("a.yuv", true), PictureFormat::yuv);
    EXPECT_EQ(ctl::picture_format("-", true), PictureFormat::yuv);
    EXPECT_EQ(ctl::picture_format("-", false), PictureFormat::jpeg);
    EXPECT_THROW(ctl::picture_format("a.png", false), ctl::Usage);
    EXPECT_THROW(ctl::picture_format("a.gif", true), ctl::Usage);
    EXPECT_THROW(ctl::picture_format("jpg", false), ctl::Usage);
}

TEST(RawPicture, BecomesAFileThatOthersRead) {
    const support::ScratchRunDir dir;
    const std::string raw(ctl::raw_picture_bytes, '\x50');
    EXPECT_EQ(ctl::encoded(raw, ctl::PictureFormat::yuv), raw);
    struct Case {
        ctl::PictureFormat format;
        const char *name;
        const char *codec;
    };
    for (const auto &[format, name, codec] :
         {Case{ctl::PictureFormat::png, "x.png", "png"}, Case{ctl::PictureFormat::jpeg, "x.jpg", "mjpeg"},
          Case{ctl::PictureFormat::y4m, "x.y4m", "rawvideo"}}) {
        std::ofstream(dir.file(name), std::ios::binary) << ctl::encoded(raw, format);
        EXPECT_EQ(ctl_test::probe(dir.file(name)), std::string(codec) + " 640 384 1\n");
    }
}

// ---- playing ----

TEST(PlayClock, IsTenPiecesAheadAndThenInRealTime) {
    constexpr uint64_t start_us = 1000000000;
    constexpr uint64_t piece_us = 40000;
    ctl::PlayClock clock;
    EXPECT_EQ(clock.send_us(), 0U);
    for (uint64_t piece = 0; piece < 10; ++piece) {
        EXPECT_LE(clock.send_us(), start_us) << "at once";
        clock.sent(ctl::sound_message_bytes, start_us);
    }
    EXPECT_EQ(clock.send_us(), start_us);
    for (uint64_t piece = 10; piece < 500; ++piece) {
        clock.sent(ctl::sound_message_bytes, clock.send_us());
        EXPECT_EQ(clock.send_us(), start_us + (piece - 9) * piece_us);
    }
    EXPECT_EQ(clock.end_us(), start_us + 500 * piece_us);
}

TEST(PlayClock, BeginsAnewAfterAPause) {
    ctl::PlayClock clock;
    clock.sent(ctl::sound_message_bytes, 1000000);
    clock.sent(ctl::sound_message_bytes, 9000000);
    EXPECT_EQ(clock.end_us(), 9040000U);
    EXPECT_LE(clock.send_us(), 9000000U) << "what was missed is not made up for with a burst";
    EXPECT_GT(clock.send_us(), 9000000U - 400000);
}

TEST(PlayClock, CountsShortPieces) {
    ctl::PlayClock clock;
    clock.sent(32, 5000000);
    EXPECT_EQ(clock.end_us(), 5001000U);
}

} // namespace
