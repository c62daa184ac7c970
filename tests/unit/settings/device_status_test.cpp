// The record of settings flags: what stands in it when the process starts, and how it lies in memory.

#include "settings/device_status.h"

#include "media/channels.h"
#include "settings/hot_config.h"

#include <cstring>
#include <gtest/gtest.h>
#include <type_traits>

namespace {

/* The process-wide state as it is before main: fixtures of other tests change it later. */
struct AtStart {
    int32_t region_code = device_status.region_code;
    int32_t flicker_hz = device_status.flicker_hz;
    uint8_t running = device_status.running;
    uint8_t bind_status = device_status.bind_status;
    uint8_t power = device_status.power;
    uint8_t watermark = device_status.watermark;
    uint8_t flip = device_status.flip;
    uint8_t wdr = device_status.wdr;
    uint8_t reload_boardav = device_status.reload_boardav;
    uint8_t hdr_switch = device_status.hdr_switch;
    uint8_t motion_detection_enable = device_status.motion_detection_enable;
    int32_t last = last_signal;
    VencConfig profile = venc_config;
    int32_t fail_count = broadcast_fail_count;
};
const AtStart at_start;

TEST(DeviceStatus, StartsWithTheDefaults) {
    EXPECT_EQ(at_start.region_code, 3);
    EXPECT_EQ(at_start.flicker_hz, 50);
    EXPECT_EQ(at_start.running, 1);
    EXPECT_EQ(at_start.bind_status, 0);
    EXPECT_EQ(at_start.power, 1);
    EXPECT_EQ(at_start.watermark, 1);
    EXPECT_EQ(at_start.flip, 0);
    EXPECT_EQ(at_start.wdr, 0);
    EXPECT_EQ(at_start.reload_boardav, 0);
    EXPECT_EQ(at_start.hdr_switch, 0);
    EXPECT_EQ(at_start.motion_detection_enable, 0);
}

TEST(DeviceStatus, StandsBesideOtherStateThatStartsEmpty) {
    const VencConfig zero{};
    EXPECT_EQ(at_start.last, -1);
    EXPECT_EQ(std::memcmp(&at_start.profile, &zero, sizeof zero), 0);
    EXPECT_EQ(at_start.fail_count, 0);
}

TEST(DeviceStatus, HasPlainBytesAndWords) {
    static_assert(std::is_same_v<decltype(DeviceStatus::region_code), Relaxed<int32_t>>);
    static_assert(std::is_same_v<decltype(DeviceStatus::flicker_hz), Relaxed<int32_t>>);
    static_assert(std::is_same_v<decltype(DeviceStatus::running), Relaxed<uint8_t>>);
    static_assert(std::is_same_v<decltype(last_signal), Relaxed<int32_t>>);
    EXPECT_EQ(sizeof(Relaxed<uint8_t>), 1U);
    EXPECT_EQ(sizeof(Relaxed<int32_t>), 4U);
    EXPECT_EQ(sizeof(DeviceStatus), 20U); // two words, nine bytes, rounded up
}

TEST(DeviceStatus, KeepsItsFlagsInOrder) {
    const Relaxed<uint8_t> *const flags[] = {
        &device_status.running,        &device_status.bind_status,
        &device_status.power,          &device_status.watermark,
        &device_status.flip,           &device_status.wdr,
        &device_status.reload_boardav, // between wdr and hdr_switch
        &device_status.hdr_switch,     &device_status.motion_detection_enable};
    for (size_t i = 0; i < sizeof flags / sizeof flags[0]; ++i) {
        EXPECT_EQ(flags[i], flags[0] + i) << i;
    }
}

TEST(Relaxed, GivesBackWhatWasPutIn) {
    Relaxed<int32_t> word{5};
    EXPECT_EQ(word, 5);
    EXPECT_EQ(word = -7, -7);
    EXPECT_EQ(word.get(), -7);
}

TEST(VencConfig, LiesAsTheBoardTakesIt) {
    static_assert(sizeof(VencConfig::ready) == 1 && offsetof(VencConfig, ready) == 0);
    static_assert(sizeof(VencConfig::bind_status) == 4 && offsetof(VencConfig, bind_status) == 4);
    static_assert(sizeof(VencConfig) == 8 + 2 * 24);
    const VencChannel channel = {1, 2, 3, 4, 5, 6};
    int32_t words[6];
    static_assert(sizeof channel == sizeof words);
    std::memcpy(words, &channel, sizeof words);
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(words[i], i + 1); // pt, reserved, bitrate, fps, width, height
    }
    EXPECT_EQ(channel.pt, 1);
    EXPECT_EQ(channel.reserved, 2);
    EXPECT_EQ(channel.bitrate, 3);
    EXPECT_EQ(channel.fps, 4);
    EXPECT_EQ(channel.width, 5);
    EXPECT_EQ(channel.height, 6);
}

} // namespace
