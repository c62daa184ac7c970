#include "board/boardd/picture/timestamp.h"

namespace board {

namespace {

constexpr int32_t region_us = 0;
constexpr int32_t region_in = 1;
constexpr int32_t region_hw = 2;

size_t write_date(char *text, size_t capacity, int32_t region_code, const std::tm &day) {
    switch (region_code) {
    case region_us:
        return std::strftime(text, capacity, "%m/%d/%Y", &day);
    case region_in:
        return std::strftime(text, capacity, "%d/%m/%Y", &day);
    case region_hw:
        return std::strftime(text, capacity, "%Y-%m-%d", &day);
    default:
        return std::strftime(text, capacity, "%Y/%m/%d", &day);
    }
}

} // namespace

std::string timestamp_text(int32_t region_code, std::time_t time) {
    char text[64];
    std::tm local{};
    localtime_r(&time, &local);
    size_t length = write_date(text, sizeof text, region_code, local);
    length += std::strftime(text + length, sizeof text - length, " %H:%M:%S", &local);
    return std::string(text, length);
}

std::string frame_text(std::time_t time, uint32_t frame) {
    return timestamp_text(region_hw, time) + "  #" + std::to_string(frame);
}

} // namespace board
