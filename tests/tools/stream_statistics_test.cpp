// What invented frames add up to.

#include "strellctl/stream_statistics.h"

#include <gtest/gtest.h>

using ctl::FrameSample;
using ctl::LatencyHistogram;
using ctl::StreamStatistics;

namespace {

constexpr uint64_t second_us = 1000000;
constexpr uint64_t start_us = 5000 * second_us;

/* A stream of `fps` with a key frame every `key_distance` frames, delivered `latency_us` after capture. */
struct Encoder {
    uint64_t interval_us = second_us / 20;
    uint32_t key_distance = 40;
    uint64_t latency_us = 30000;
    uint32_t bytes = 1000;
    uint64_t capture_us = start_us;
    uint32_t sequence = 0;
    uint32_t skipped = 0;

    FrameSample next() {
        const FrameSample sample = {capture_us, capture_us + latency_us,      sequence,
                                    bytes,      sequence % key_distance == 0, skipped};
        capture_us += interval_us;
        ++sequence;
        return sample;
    }
    void drop(uint32_t frames) {
        capture_us += frames * interval_us;
        sequence += frames;
    }
    void restart() { sequence = 0; }
    uint64_t now_us() const { return capture_us - interval_us + latency_us; }
};

void feed(StreamStatistics *statistics, Encoder *encoder, int frames) {
    for (int i = 0; i < frames; ++i) {
        statistics->add(encoder->next());
    }
}

TEST(StreamStatistics, KnowNothingBeforeTheFirstFrame) {
    const StreamStatistics statistics;
    EXPECT_EQ(statistics.totals().frames, 0U);
    EXPECT_EQ(statistics.fps(start_us), 0);
    EXPECT_EQ(statistics.bits_per_s(start_us), 0);
    EXPECT_EQ(statistics.average_fps(), 0);
    EXPECT_EQ(statistics.average_bits_per_s(), 0);
    EXPECT_EQ(statistics.key_interval().count, 0U);
    EXPECT_EQ(statistics.latency().count(), 0U);
}

TEST(StreamStatistics, OneFrameIsNoRate) {
    StreamStatistics statistics;
    Encoder encoder;
    feed(&statistics, &encoder, 1);
    EXPECT_EQ(statistics.totals().frames, 1U);
    EXPECT_EQ(statistics.fps(encoder.now_us()), 0);
    EXPECT_EQ(statistics.average_fps(), 0);
}

TEST(StreamStatistics, ASteadyStreamHasExactRates) {
    StreamStatistics statistics;
    Encoder encoder;
    for (int i = 1; i <= 200; ++i) {
        feed(&statistics, &encoder, 1);
        if (i >= 2) {
            ASSERT_NEAR(statistics.fps(encoder.now_us()), 20.0, 1e-9) << i;
            ASSERT_NEAR(statistics.bits_per_s(encoder.now_us()), 160000.0, 1e-6) << i;
        }
    }
    EXPECT_NEAR(statistics.average_fps(), 20.0, 1e-9);
    EXPECT_NEAR(statistics.average_bits_per_s(), 160000.0, 1e-6);
}

TEST(StreamStatistics, LateDeliveryDoesNotMakeRatesJump) {
    StreamStatistics statistics;
    Encoder encoder;
    for (int i = 0; i < 100; ++i) {
        FrameSample sample = encoder.next();
        sample.received_us += i % 10 == 0 ? 40000U : 0U;
        statistics.add(sample);
    }
    EXPECT_NEAR(statistics.fps(encoder.now_us()), 20.0, 1e-9);
}

TEST(StreamStatistics, AStreamThatStopsFallsToZero) {
    StreamStatistics statistics;
    Encoder encoder;
    feed(&statistics, &encoder, 100);
    const uint64_t last_us = encoder.now_us();
    EXPECT_GT(statistics.fps(last_us + StreamStatistics::fps_window_us / 2), 0);
    EXPECT_EQ(statistics.fps(last_us + StreamStatistics::fps_window_us), 0);
    EXPECT_EQ(statistics.bits_per_s(last_us + StreamStatistics::bitrate_window_us), 0);
    EXPECT_NEAR(statistics.average_fps(), 20.0, 1e-9) << "the average is of what came";
}

TEST(StreamStatistics, ANewRateIsSeenWithinTheWindow) {
    StreamStatistics statistics;
    Encoder encoder;
    feed(&statistics, &encoder, 100);
    encoder.interval_us = second_us / 5;
    encoder.bytes = 500;
    feed(&statistics, &encoder, 21); // four seconds
    EXPECT_NEAR(statistics.fps(encoder.now_us()), 5.0, 1e-9);
    EXPECT_NEAR(statistics.bits_per_s(encoder.now_us()), 20000.0, 1e-6);
}

TEST(StreamStatistics, CaptureTimesThatStandStillAreReplacedByReceipts) {
    StreamStatistics statistics;
    Encoder encoder;
    for (int i = 0; i < 100; ++i) {
        FrameSample sample = encoder.next();
        sample.capture_us = 7;
        statistics.add(sample);
    }
    EXPECT_NEAR(statistics.fps(encoder.now_us()), 20.0, 1e-9);
    EXPECT_EQ(statistics.latency().count(), 0U) << "another clock has no latency";
}

TEST(StreamStatistics, KeyFramesAreMeasuredFromOneToTheNext) {
    StreamStatistics statistics;
    Encoder encoder;
    feed(&statistics, &encoder, 40);
    EXPECT_EQ(statistics.totals().key_frames, 1U);
    EXPECT_EQ(statistics.key_interval().count, 0U);
    feed(&statistics, &encoder, 41);
    encoder.key_distance = 20;
    feed(&statistics, &encoder, 20);
    const ctl::KeyInterval &keys = statistics.key_interval();
    EXPECT_EQ(statistics.totals().key_frames, 4U);
    EXPECT_EQ(keys.count, 3U);
    EXPECT_EQ(keys.last_us, 1 * second_us);
    EXPECT_EQ(keys.least_us, 1 * second_us);
    EXPECT_EQ(keys.most_us, 2 * second_us);
    EXPECT_EQ(keys.sum_us, 5 * second_us);
}

TEST(StreamStatistics, GapsInTheCountAreLosses) {
    StreamStatistics statistics;
    Encoder encoder;
    encoder.sequence = 17;
    feed(&statistics, &encoder, 10);
    EXPECT_EQ(statistics.totals().lost, 0U) << "what was before the first frame is not lost";
    encoder.drop(3);
    encoder.skipped = 2;
    feed(&statistics, &encoder, 10);
    EXPECT_EQ(statistics.totals().lost, 3U);
    EXPECT_EQ(statistics.totals().skipped, 2U);
    EXPECT_EQ(statistics.totals().restarts, 0U);
}

TEST(StreamStatistics, ARestartOfTheEncoderIsNoLoss) {
    StreamStatistics statistics;
    Encoder encoder;
    feed(&statistics, &encoder, 10);
    encoder.restart();
    feed(&statistics, &encoder, 10);
    EXPECT_EQ(statistics.totals().lost, 0U);
    EXPECT_EQ(statistics.totals().restarts, 1U);
    encoder.restart();
    encoder.drop(2);
    feed(&statistics, &encoder, 1);
    EXPECT_EQ(statistics.totals().lost, 2U) << "its first frames are";
    EXPECT_EQ(statistics.totals().restarts, 2U);
}

TEST(StreamStatistics, LatencyIsFromCaptureToReceipt) {
    StreamStatistics statistics;
    Encoder encoder;
    feed(&statistics, &encoder, 99);
    encoder.latency_us = 250000;
    feed(&statistics, &encoder, 1);
    EXPECT_EQ(statistics.last_latency_us(), 250000U);
    EXPECT_EQ(statistics.latency().count(), 100U);
    EXPECT_NEAR(static_cast<double>(statistics.latency().percentile_us(50)), 30000, 100);
    EXPECT_NEAR(static_cast<double>(statistics.latency().percentile_us(99)), 30000, 100);
    EXPECT_EQ(statistics.latency().percentile_us(100), 250000U);
    EXPECT_EQ(statistics.latency().most_us(), 250000U);
}

TEST(StreamStatistics, ALongStreamTakesNoMoreThanAShortOne) {
    StreamStatistics statistics;
    Encoder encoder;
    encoder.interval_us = 10; // a flood: far more frames in a window than are kept
    feed(&statistics, &encoder, 500000);
    EXPECT_EQ(statistics.totals().frames, 500000U);
    EXPECT_NEAR(statistics.fps(encoder.now_us()), 100000.0, 1e-3);
}

TEST(LatencyHistogram, EmptyAndHugeValues) {
    LatencyHistogram histogram;
    EXPECT_EQ(histogram.percentile_us(50), 0U);
    histogram.add(0);
    EXPECT_EQ(histogram.percentile_us(100), 0U) << "never more than the longest";
    histogram.add(3600 * second_us);
    EXPECT_EQ(histogram.percentile_us(50), LatencyHistogram::step_us);
    EXPECT_EQ(histogram.percentile_us(100), 3600 * second_us);
}

TEST(LatencyHistogram, PercentilesOfAnEvenSpread) {
    LatencyHistogram histogram;
    for (uint64_t ms = 1; ms <= 1000; ++ms) {
        histogram.add(ms * 1000);
    }
    for (const uint32_t percent : {1U, 50U, 95U, 99U}) {
        EXPECT_NEAR(static_cast<double>(histogram.percentile_us(percent)), percent * 10000.0, 100) << percent;
    }
}

} // namespace
