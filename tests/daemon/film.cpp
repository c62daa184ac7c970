#include "daemon/film.h"

#include "daemon/frames.h"
#include "support/process.h"
#include "tools/ctl.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

namespace daemon_test {

namespace {

struct Pixels {
    int32_t left, top, right, bottom;
};

Pixels pixels_of(const Picture &picture, const Part &part) {
    const auto scaled = [](double value, int32_t size) { return static_cast<int32_t>(value * size); };
    return {scaled(part.left, picture.width), scaled(part.top, picture.height),
            scaled(part.right, picture.width), scaled(part.bottom, picture.height)};
}

std::string bytes_of(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/* Takes the frames apart of a file of YUV4MPEG2: a line "YUV4MPEG2 W640 H360 ...", then before each frame a
 * line "FRAME...". Planar 4:2:0, of which the first plane is taken. */
std::vector<Picture> frames_of(const std::string &bytes) {
    Picture empty;
    std::vector<Picture> frames;
    if (std::sscanf(bytes.c_str(), "YUV4MPEG2 W%d H%d", &empty.width, &empty.height) != 2) {
        return frames;
    }
    const size_t luma_bytes = static_cast<size_t>(empty.width) * static_cast<size_t>(empty.height);
    const size_t frame_bytes = luma_bytes * 3 / 2;
    size_t at = bytes.find('\n') + 1;
    while (bytes.compare(at, 5, "FRAME") == 0) {
        at = bytes.find('\n', at) + 1;
        if (at + frame_bytes > bytes.size()) {
            break;
        }
        const auto begin = bytes.begin() + static_cast<ptrdiff_t>(at);
        Picture frame = empty;
        frame.luma.assign(begin, begin + static_cast<ptrdiff_t>(luma_bytes));
        frames.push_back(std::move(frame));
        at += frame_bytes;
    }
    return frames;
}

double mean(const Picture &picture, const Pixels &pixels) {
    double sum = 0;
    for (int32_t y = pixels.top; y < pixels.bottom; ++y) {
        for (int32_t x = pixels.left; x < pixels.right; ++x) {
            sum += picture.at(x, y);
        }
    }
    return sum / std::max(1, (pixels.right - pixels.left) * (pixels.bottom - pixels.top));
}

/* Means of a grid, from left to right and top to bottom, with their own mean taken off. */
std::vector<double> grid_of(const Picture &picture) {
    constexpr int32_t across = 32;
    constexpr int32_t down = 18;
    std::vector<double> grid;
    for (int32_t row = 0; row < down; ++row) {
        for (int32_t column = 0; column < across; ++column) {
            grid.push_back(
                mean(picture, {picture.width * column / across, picture.height * row / down,
                               picture.width * (column + 1) / across, picture.height * (row + 1) / down}));
        }
    }
    double all = 0;
    for (const double value : grid) {
        all += value / static_cast<double>(grid.size());
    }
    for (double &value : grid) {
        value -= all;
    }
    return grid;
}

uint64_t monotonic_us() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
}

/* Waits until what was captured before is out of the stream. */
void see_the_present(const std::string &stream) {
    const uint64_t now_us = monotonic_us();
    const auto receiver =
        support::attach(stream == "main" ? "/run/video_mainstream" : "/run/video_substream");
    while (next_frame(receiver).info.timestamp_us < now_us && !testing::Test::HasFailure()) {
    }
}

std::vector<Picture> recorded(const std::string &dir, const std::string &stream, const char *seconds) {
    const std::string file = dir + "/film.mkv";
    const std::string decoded = dir + "/film.y4m";
    const auto record =
        ctl_test::run_ctl({"record", stream, "-t", seconds, file}, support::Leaks::not_sought);
    EXPECT_EQ(record.exit_code, 0) << record.output;
    const auto decode = support::run(
        {"ffmpeg", "-v", "error", "-y", "-i", file, "-pix_fmt", "yuv420p", "-f", "yuv4mpegpipe", decoded}, {},
        3 * support::patience);
    EXPECT_EQ(decode.exit_code, 0) << decode.output;
    return frames_of(bytes_of(decoded));
}

} // namespace

std::vector<Picture> film(const support::System &system, const std::string &stream) {
    constexpr size_t least_frames = 5;
    see_the_present(stream);
    std::vector<Picture> frames;
    // A machine that is busy with much else may bring a frame or two in a second.
    for (const char *seconds : {"1", "4", "10"}) {
        if (frames.size() < least_frames && !testing::Test::HasFailure()) {
            frames = recorded(system.dir().path(), stream, seconds);
        }
    }
    EXPECT_GE(frames.size(), least_frames);
    return frames;
}

Picture median(const std::vector<Picture> &frames) {
    if (frames.empty()) {
        return {};
    }
    Picture result = frames.front();
    std::vector<uint8_t> values(frames.size());
    for (size_t i = 0; i < result.luma.size(); ++i) {
        for (size_t k = 0; k < frames.size(); ++k) {
            values[k] = frames[k].luma[i];
        }
        const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
        std::nth_element(values.begin(), middle, values.end());
        result.luma[i] = *middle;
    }
    return result;
}

Picture still(const support::System &system, const std::string &stream) {
    return median(film(system, stream));
}

Picture upside_down(const Picture &picture) {
    Picture result = picture;
    for (int32_t y = 0; y < picture.height; ++y) {
        std::copy_n(picture.luma.begin() + static_cast<ptrdiff_t>(y) * picture.width, picture.width,
                    result.luma.begin() + static_cast<ptrdiff_t>(picture.height - 1 - y) * picture.width);
    }
    return result;
}

double difference(const Picture &one, const Picture &other, const Part &part) {
    EXPECT_EQ(one.luma.size(), other.luma.size());
    if (one.luma.size() != other.luma.size() || one.luma.empty()) {
        return 255;
    }
    const Pixels pixels = pixels_of(one, part);
    double sum = 0;
    for (int32_t y = pixels.top; y < pixels.bottom; ++y) {
        for (int32_t x = pixels.left; x < pixels.right; ++x) {
            sum += std::abs(one.at(x, y) - other.at(x, y));
        }
    }
    return sum / std::max(1, (pixels.right - pixels.left) * (pixels.bottom - pixels.top));
}

double likeness(const Picture &one, const Picture &other) {
    const std::vector<double> a = grid_of(one);
    const std::vector<double> b = grid_of(other);
    double product = 0;
    double a_squares = 0;
    double b_squares = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        product += a[i] * b[i];
        a_squares += a[i] * a[i];
        b_squares += b[i] * b[i];
    }
    const double scale = std::sqrt(a_squares * b_squares);
    return scale > 0 ? product / scale : 0;
}

double mean_change(const Picture &before, const Picture &after,
                   const std::function<bool(double luma)> &counts) {
    EXPECT_EQ(before.luma.size(), after.luma.size());
    double sum = 0;
    int32_t pixels = 0;
    for (size_t i = 0; i < std::min(before.luma.size(), after.luma.size()); ++i) {
        if (counts(before.luma[i])) {
            sum += static_cast<double>(after.luma[i]) - before.luma[i];
            ++pixels;
        }
    }
    EXPECT_GT(pixels, 0) << "there are none in the picture";
    return sum / std::max(1, pixels);
}

double rolling(const std::vector<Picture> &frames) {
    double sum = 0;
    int32_t rows = 0;
    for (size_t i = 1; i < frames.size(); ++i) {
        const Picture &frame = frames[i];
        for (int32_t y = frame.height / 5; y < frame.height; ++y, ++rows) {
            std::vector<double> changes;
            for (int32_t x = 0; x < frame.width; ++x) {
                changes.push_back(std::abs(frame.at(x, y) - frames[i - 1].at(x, y)));
            }
            std::nth_element(changes.begin(), changes.begin() + frame.width / 2, changes.end());
            sum += changes[changes.size() / 2];
        }
    }
    return sum / std::max(rows, 1);
}

} // namespace daemon_test
