#include "board/boardd/picture/effects.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace board {

namespace {

constexpr double black = 16.0;
constexpr double white = 235.0;
constexpr int32_t grey = 128;

/* Lifts a quarter of full brightness to almost half of it. */
constexpr double wdr_gamma = 0.55;

/* The rectangle's colour, and how thick its line is. */
constexpr uint8_t track_y = 210;
constexpr uint8_t track_u = 16;
constexpr uint8_t track_v = 146;
constexpr int32_t track_line_part = 180; /* of the picture's height */

constexpr int32_t samples_across = 64;
constexpr int32_t samples_down = 64;

constexpr int32_t tint_one = 4096;

uint8_t to_byte(double value) {
    return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

template <typename Function>
Curve curve_of(Function function) {
    Curve curve;
    for (size_t i = 0; i < curve.size(); ++i) {
        curve[i] = to_byte(function(static_cast<double>(i)));
    }
    return curve;
}

/* A pixel as red, green and blue, luma from 0; linear, so that it can be taken apart into columns. */
struct Rgb {
    double r, g, b;
};

Rgb rgb_of(double y, double u, double v) {
    return {y + 1.596 * v, y - 0.392 * u - 0.813 * v, y + 2.017 * u};
}

void fill(const Plane &plane, int32_t left, int32_t top, int32_t right, int32_t bottom, uint8_t value) {
    left = std::clamp(left, 0, plane.width);
    right = std::clamp(right, left, plane.width);
    for (int32_t y = std::max(top, 0); y < std::min(bottom, plane.height); ++y) {
        std::memset(plane.row(y) + left, value, static_cast<size_t>(right - left));
    }
}

void fill(const Planes &planes, int32_t left, int32_t top, int32_t right, int32_t bottom) {
    fill(planes.y, left, top, right, bottom, track_y);
    fill(planes.u, left / 2, top / 2, right / 2, bottom / 2, track_u);
    fill(planes.v, left / 2, top / 2, right / 2, bottom / 2, track_v);
}

/* A raw-frame coordinate in pixels of the picture: even, and near enough for int32_t when far outside. */
int32_t scaled(int64_t value, int32_t pixels, int32_t raw_pixels) {
    const int64_t at = std::clamp(value, int64_t{-raw_pixels}, int64_t{2} * raw_pixels);
    return static_cast<int32_t>(at * pixels / raw_pixels / 2 * 2);
}

} // namespace

Curve plain_curve() {
    return curve_of([](double y) { return y; });
}

Curve wdr_curve() {
    return curve_of([](double y) {
        const double part = std::clamp((y - black) / (white - black), 0.0, 1.0);
        return y < black || y > white ? y : black + (white - black) * std::pow(part, wdr_gamma);
    });
}

Curve gain_curve(double factor) {
    return curve_of(
        [factor](double y) { return y < black ? y : std::min(black + (y - black) * factor, white); });
}

Curve chained(const Curve &first, const Curve &second) {
    Curve curve;
    for (size_t i = 0; i < curve.size(); ++i) {
        curve[i] = second[first[i]];
    }
    return curve;
}

void apply_curve(const Plane &plane, const Curve &curve, int32_t first_row, int32_t rows) {
    for (int32_t y = first_row; y < std::min(first_row + rows, plane.height); ++y) {
        uint8_t *row = plane.row(y);
        for (int32_t x = 0; x < plane.width; ++x) {
            row[x] = curve[row[x]];
        }
    }
}

void flip(const Planes &planes) {
    for (const Plane *plane : {&planes.y, &planes.u, &planes.v}) {
        for (int32_t y = 0; y < plane->height / 2; ++y) {
            uint8_t *upper = plane->row(y);
            std::swap_ranges(upper, upper + plane->width, plane->row(plane->height - 1 - y));
        }
    }
}

void make_grey(const Planes &planes) {
    fill(planes.u, 0, 0, planes.u.width, planes.u.height, grey);
    fill(planes.v, 0, 0, planes.v.width, planes.v.height, grey);
}

/* The matrices are linear, so each coefficient is what becomes of a unit vector. */
Tint tint_of(const WhiteBalanceRecord &record) {
    const auto gain = [](uint32_t word) { return static_cast<double>(word) / white_gain_one; };
    const auto chroma = [&](double y, double u, double v) {
        Rgb rgb = rgb_of(y, u, v);
        rgb = {rgb.r * gain(record.red), rgb.g * gain(record.green), rgb.b * gain(record.blue)};
        const double luma = 0.299 * rgb.r + 0.587 * rgb.g + 0.114 * rgb.b;
        return std::pair((rgb.b - luma) / 2.017, (rgb.r - luma) / 1.596);
    };
    const auto fixed = [](double value) { return static_cast<int32_t>(std::lround(value * tint_one)); };
    const auto [uy, vy] = chroma(1, 0, 0);
    const auto [uu, vu] = chroma(0, 1, 0);
    const auto [uv, vv] = chroma(0, 0, 1);
    return {fixed(uy), fixed(uu), fixed(uv), fixed(vy), fixed(vu), fixed(vv)};
}

void apply_tint(const Planes &planes, const Tint &tint) {
    const auto byte = [](int32_t value) {
        return static_cast<uint8_t>(std::clamp(grey + value / tint_one, 16, 240));
    };
    for (int32_t y = 0; y < planes.u.height; ++y) {
        const uint8_t *luma = planes.y.row(2 * y);
        uint8_t *u_row = planes.u.row(y);
        uint8_t *v_row = planes.v.row(y);
        for (int32_t x = 0; x < planes.u.width; ++x) {
            const int32_t light = luma[ptrdiff_t{2} * x] - static_cast<int32_t>(black);
            const int32_t u = u_row[x] - grey;
            const int32_t v = v_row[x] - grey;
            u_row[x] = byte(tint.u_of_y * light + tint.u_of_u * u + tint.u_of_v * v);
            v_row[x] = byte(tint.v_of_y * light + tint.v_of_u * u + tint.v_of_v * v);
        }
    }
}

void draw_track(const Planes &planes, const TrackRecord &track) {
    const int32_t line = std::max(2, planes.y.height / track_line_part / 2 * 2);
    const int32_t left = scaled(track.x, planes.y.width, raw_width);
    const int32_t top = scaled(track.y, planes.y.height, raw_height);
    const int32_t right = scaled(int64_t{track.x} + track.width, planes.y.width, raw_width);
    const int32_t bottom = scaled(int64_t{track.y} + track.height, planes.y.height, raw_height);
    fill(planes, left, top, right, std::min(top + line, bottom));
    fill(planes, left, std::max(bottom - line, top), right, bottom);
    fill(planes, left, top, std::min(left + line, right), bottom);
    fill(planes, std::max(right - line, left), top, right, bottom);
}

uint32_t mean_luma(const Plane &y) {
    uint64_t sum = 0;
    for (int32_t i = 0; i < samples_down; ++i) {
        const uint8_t *row = y.row((2 * i + 1) * y.height / (2 * samples_down));
        for (int32_t j = 0; j < samples_across; ++j) {
            sum += row[(2 * j + 1) * y.width / (2 * samples_across)];
        }
    }
    return static_cast<uint32_t>(sum / samples_down / samples_across);
}

} // namespace board
