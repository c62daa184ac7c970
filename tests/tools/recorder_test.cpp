// Which frames belong to a recording, with invented frames and a recording in memory.

#include "strellctl/failure.h"
#include "strellctl/recorder.h"

#include <gtest/gtest.h>
#include <vector>

using ctl::Codec;
using ctl::FrameView;
using ctl::Recorder;
using ctl::StreamFormat;

namespace {

constexpr uint64_t interval_us = 66667;

struct Tape {
    std::vector<uint64_t> times_us;
    std::string bytes;
    int opened = 0;
    int finished = 0;
    bool full = false;
};

class MemoryRecording : public ctl::Recording {
  public:
    explicit MemoryRecording(Tape *tape) : tape_(tape) {}
    void write(std::string_view payload, uint64_t time_us) override {
        if (tape_->full) {
            throw ctl::WriteFailure("the tape is full");
        }
        tape_->bytes += payload;
        tape_->times_us.push_back(time_us);
    }
    void finish() override { ++tape_->finished; }

  private:
    Tape *tape_;
};

class RecorderTest : public testing::Test {
  protected:
    Recorder recorder(double seconds) {
        return {seconds,
                {.read_format = [this](std::string_view) { return format_; },
                 .open =
                     [this](const StreamFormat &) {
                         ++tape_.opened;
                         return std::make_unique<MemoryRecording>(&tape_);
                     }}};
    }

    FrameView next(bool key) {
        FrameView frame{};
        frame.info.board0 = 1;
        frame.info.board24 = size_word_;
        frame.info.seq = sequence_++;
        frame.info.timestamp_us = time_us_;
        frame.info.is_key = key ? 1 : 0;
        frame.payload = key ? "K" : "p";
        time_us_ += interval_us;
        return frame;
    }

    Tape tape_;
    std::optional<StreamFormat> format_ = StreamFormat{Codec::h265, 640, 360};
    uint32_t sequence_ = 100;
    uint32_t size_word_ = 640U | 360U << 16;
    uint64_t time_us_ = 77000000;
};

TEST_F(RecorderTest, BeginsWithAKeyFrame) {
    Recorder recorder = this->recorder(10);
    EXPECT_TRUE(recorder.add(next(false)));
    EXPECT_TRUE(recorder.add(next(false)));
    EXPECT_EQ(tape_.opened, 0) << "no file before there is something to write";
    EXPECT_TRUE(recorder.add(next(true)));
    EXPECT_TRUE(recorder.add(next(false)));
    EXPECT_EQ(tape_.bytes, "Kp");
    EXPECT_EQ(tape_.times_us, (std::vector<uint64_t>{0, interval_us}));
    EXPECT_EQ(tape_.opened, 1);
}

TEST_F(RecorderTest, IsAsLongAsTheCaptureTimesSay) {
    Recorder recorder = this->recorder(10);
    int frames = 0;
    while (recorder.add(next(frames % 30 == 0))) {
        ++frames;
    }
    EXPECT_EQ(frames, 150);
    EXPECT_EQ(recorder.frames(), 150U);
    EXPECT_EQ(recorder.bytes(), 150U);
    EXPECT_NEAR(recorder.seconds(), 10, 0.001);
    EXPECT_EQ(recorder.text(), "150 frames, 10.0 s, H.265 640x360, 150 B");
    recorder.finish();
    recorder.finish();
    EXPECT_EQ(tape_.finished, 1);
}

TEST_F(RecorderTest, WithoutAFrameThereIsNothingToFinish) {
    Recorder recorder = this->recorder(10);
    recorder.finish();
    EXPECT_EQ(recorder.seconds(), 0);
    EXPECT_EQ(tape_.opened, 0);
}

TEST_F(RecorderTest, WhatIsNoVideoIsRefused) {
    format_.reset();
    Recorder recorder = this->recorder(10);
    EXPECT_THROW(recorder.add(next(true)), ctl::Failure);
    EXPECT_EQ(tape_.opened, 0);
}

TEST_F(RecorderTest, WhatDoesNotDecodeAfterALossIsLeftOut) {
    Recorder recorder = this->recorder(10);
    EXPECT_TRUE(recorder.waits_for_key_frame());
    recorder.add(next(true));
    recorder.add(next(false));
    EXPECT_FALSE(recorder.waits_for_key_frame());
    EXPECT_EQ(recorder.missing(), 0U);
    sequence_ += 4;
    time_us_ += 4 * interval_us;
    EXPECT_TRUE(recorder.add(next(false)));
    EXPECT_TRUE(recorder.add(next(false)));
    EXPECT_TRUE(recorder.waits_for_key_frame());
    EXPECT_EQ(recorder.missing(), 6U);
    recorder.add(next(true));
    recorder.add(next(false));
    EXPECT_FALSE(recorder.waits_for_key_frame());
    EXPECT_EQ(recorder.missing(), 6U);
    EXPECT_EQ(tape_.bytes, "KpKp");
    EXPECT_EQ(tape_.times_us, (std::vector<uint64_t>{0, interval_us, 8 * interval_us, 9 * interval_us}))
        << "the gap stays";
}

TEST_F(RecorderTest, AKeyFrameRightAfterALossGoesOn) {
    Recorder recorder = this->recorder(10);
    recorder.add(next(true));
    sequence_ += 2;
    recorder.add(next(true));
    recorder.add(next(false));
    EXPECT_EQ(recorder.missing(), 2U);
    EXPECT_EQ(tape_.bytes, "KKp");
}

TEST_F(RecorderTest, ARestartWithTheSameFormatGoesOn) {
    Recorder recorder = this->recorder(10);
    recorder.add(next(true));
    sequence_ = 0;
    EXPECT_TRUE(recorder.add(next(true)));
    EXPECT_TRUE(recorder.add(next(false)));
    EXPECT_EQ(tape_.bytes, "KKp");
    EXPECT_EQ(recorder.missing(), 0U);
}

TEST_F(RecorderTest, AnotherFormatEndsIt) {
    for (const StreamFormat changed : {StreamFormat{Codec::h264, 640, 360}, {Codec::h265, 1280, 720}}) {
        tape_ = {};
        format_ = StreamFormat{Codec::h265, 640, 360};
        Recorder recorder = this->recorder(10);
        recorder.add(next(true));
        format_ = changed;
        sequence_ = 0;
        EXPECT_THROW(recorder.add(next(true)), ctl::Failure);
        EXPECT_EQ(recorder.frames(), 1U);
        recorder.finish();
        EXPECT_EQ(tape_.finished, 1) << "what came before is good";
    }
}

TEST_F(RecorderTest, OtherWordsInTheHeaderAloneChangeNothing) {
    Recorder recorder = this->recorder(10);
    recorder.add(next(true));
    size_word_ = 99;
    EXPECT_TRUE(recorder.add(next(true))) << "only the bitstream counts";
}

TEST_F(RecorderTest, TimesThatDoNotAdvanceEndIt) {
    Recorder recorder = this->recorder(10);
    recorder.add(next(true));
    time_us_ -= interval_us;
    EXPECT_THROW(recorder.add(next(false)), ctl::Failure);
    EXPECT_EQ(tape_.bytes, "K");
}

TEST_F(RecorderTest, AFullDiskIsToldFromEverythingElse) {
    Recorder recorder = this->recorder(10);
    recorder.add(next(true));
    tape_.full = true;
    EXPECT_THROW(recorder.add(next(false)), ctl::WriteFailure);
    EXPECT_EQ(recorder.frames(), 1U);
}

TEST(Ending, IsChosenByTheName) {
    EXPECT_EQ(ctl::ending_of("a.mp4").container, ctl::Container::mp4);
    EXPECT_EQ(ctl::ending_of("dir.mp4/a.mkv").container, ctl::Container::matroska);
    EXPECT_EQ(ctl::ending_of("a.hevc").codec, Codec::h265);
    EXPECT_EQ(ctl::ending_of("a.264").codec, Codec::h264);
    EXPECT_EQ(ctl::ending_of("a.bin").codec, std::nullopt);
    EXPECT_EQ(ctl::ending_of("-").codec, std::nullopt);
    for (const char *path : {"", "a", "a.avi", "mp4", "a-", "a.MP5"}) {
        EXPECT_THROW(ctl::ending_of(path), ctl::Usage) << path;
    }
}

TEST(Ending, FitsItsCodec) {
    EXPECT_NO_THROW(ctl::check_codec(ctl::ending_of("a.mp4"), Codec::h264, "main"));
    EXPECT_NO_THROW(ctl::check_codec(ctl::ending_of("a.h265"), Codec::h265, "main"));
    try {
        ctl::check_codec(ctl::ending_of("a.h264"), Codec::h265, "main");
        FAIL() << "an H.265 stream is not for .h264";
    } catch (const ctl::Failure &failure) {
        EXPECT_STREQ(failure.what(), "the main stream is H.265, which .h264 is not for; these are: .mp4 .mkv "
                                     ".h265 .hevc .265 .bin -");
    }
}

} // namespace
