#include "board/boardd/scene/panorama.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <string>

namespace board {

namespace {

constexpr double degree = 100; /* in hundredths */
constexpr double full_turn = 360;
constexpr double sector = 15;
constexpr int32_t sectors = 24;

constexpr double wall_part = 3.0 / 8; /* of the picture's height, from its middle down to the wall */
constexpr double floor_tilt = -40;
constexpr double cornice_tilt = 33;
constexpr double sky_tilt = 36;
constexpr double post_width = 1.2;
constexpr std::array<double, 5> mark_tilts = {-10, 0, 10, 20, 30};
constexpr double mark_height = 0.5;

constexpr Colour sky = {150, 140, 118};
constexpr Colour cornice = {60, 128, 128};
constexpr Colour wall = {42, 126, 130};
constexpr Colour post = {62, 128, 128};
constexpr Colour mark = {200, 128, 128};
constexpr Colour window = {158, 104, 138};
constexpr Colour letters = {212, 128, 128};
constexpr int32_t facade_luma_min = 86;
constexpr int32_t facade_shuffle = 11; /* no facade is as light as one near it */
constexpr std::array<uint8_t, 2> tile_luma = {64, 84};
constexpr double facade_saturation = 22;

/* Digits and minus, three columns and five rows, a bit each, from the upper left. */
constexpr std::array<uint16_t, 10> digit_bits = {0x7b6f, 0x2c97, 0x73e7, 0x73cf, 0x5bc9,
                                                 0x79cf, 0x79ef, 0x7249, 0x7bef, 0x7bcf};
constexpr uint16_t minus_bits = 0x01c0;
constexpr int32_t letter_columns = 3;
constexpr int32_t letter_rows = 5;
constexpr double letter_dot = 0.45; /* degrees */

int32_t even(double value) {
    return static_cast<int32_t>(std::lround(value / 2)) * 2;
}

int32_t modulo(int32_t value, int32_t divisor) {
    const int32_t rest = value % divisor;
    return rest < 0 ? rest + divisor : rest;
}

size_t bytes(int32_t width, int32_t height) {
    return static_cast<size_t>(width) * static_cast<size_t>(height);
}

/* The loops are such that compilers do many pixels at once. */

void copy_luma(const uint8_t *from, uint8_t *to, int32_t count, uint32_t brightness) {
    constexpr uint16_t black = 16;
    constexpr uint16_t white = 235;
    if (brightness == brightness_one) {
        std::memcpy(to, from, static_cast<size_t>(count));
        return;
    }
    const auto factor = static_cast<uint16_t>(brightness);
    for (int32_t i = 0; i < count; ++i) {
        const auto light = static_cast<uint16_t>(std::max<uint16_t>(from[i], black) - black);
        const auto scaled = static_cast<uint16_t>(static_cast<uint16_t>(light * factor) / brightness_one);
        to[i] = static_cast<uint8_t>(std::min<uint16_t>(scaled, white - black) + black);
    }
}

/* Colour fades with the light; more light than enough does not strengthen it. */
void copy_chroma(const uint8_t *from, uint8_t *to, int32_t count, uint32_t brightness) {
    constexpr int32_t grey = 128;
    if (brightness >= brightness_one) {
        std::memcpy(to, from, static_cast<size_t>(count));
        return;
    }
    const auto factor = static_cast<int16_t>(brightness);
    for (int32_t i = 0; i < count; ++i) {
        const auto product = static_cast<int16_t>((from[i] - grey) * factor);
        to[i] = static_cast<uint8_t>(product / int16_t{brightness_one} + grey);
    }
}

/* Fills a plane with what begins at `left`, `top` of a wider one whose left edge follows its right one. */
template <typename Copy>
void copy_part(const Plane &world, int32_t left, int32_t top, const Plane &picture, Copy copy) {
    const int32_t first = std::min(picture.width, world.width - left);
    for (int32_t y = 0; y < picture.height; ++y) {
        const uint8_t *from = world.row(top + y);
        uint8_t *to = picture.row(y);
        copy(from + left, to, first);
        copy(from, to + first, picture.width - first);
    }
}

} // namespace

Colour lit(const Colour &colour, uint32_t brightness) {
    Colour result{};
    copy_luma(&colour.y, &result.y, 1, brightness);
    copy_chroma(&colour.u, &result.u, 1, brightness);
    copy_chroma(&colour.v, &result.v, 1, brightness);
    return result;
}

Panorama::Panorama(int32_t width, int32_t height)
    : width_(width), height_(height), world_width_(std::max(even(pixels(full_turn * degree)), width)),
      world_height_(height + even(pixels(2 * view_tilt_max))),
      memory_(bytes(world_width_, world_height_) * 3 / 2) {
    const size_t luma = bytes(world_width_, world_height_);
    const auto half = [&](size_t offset) {
        return Plane{memory_.data() + offset, world_width_ / 2, world_width_ / 2, world_height_ / 2};
    };
    planes_ = {
        {memory_.data(), world_width_, world_width_, world_height_}, half(luma), half(luma + luma / 4)};
    paint_facades();
    paint_ground();
    paint_posts();
}

int32_t Panorama::column(double pan) const {
    return even(pixels((pan + full_turn / 2) * degree));
}

int32_t Panorama::row(double tilt) const {
    return even(world_height_ / 2.0 - pixels(tilt * degree));
}

void Panorama::fill(const Area &area, const Colour &colour) {
    const int32_t left = std::clamp(column(area.left), 0, world_width_);
    const int32_t right = std::clamp(column(area.right), left, world_width_);
    const int32_t top = std::clamp(row(area.top), 0, world_height_);
    const int32_t bottom = std::clamp(row(area.bottom), top, world_height_);
    const auto rows = [&](const Plane &plane, int32_t part, uint8_t value) {
        for (int32_t y = top / part; y < bottom / part; ++y) {
            std::memset(plane.row(y) + left / part, value, static_cast<size_t>((right - left) / part));
        }
    };
    rows(planes_.y, 1, colour.y);
    rows(planes_.u, 2, colour.u);
    rows(planes_.v, 2, colour.v);
}

void Panorama::paint_facades() {
    constexpr double all = 90;
    constexpr double from = -full_turn / 2;
    for (int32_t i = 0; i < sectors; ++i) {
        const double left = from + i * sector;
        const double hue = 2 * std::numbers::pi * i / sectors;
        const auto u = static_cast<uint8_t>(std::lround(128 + facade_saturation * std::cos(hue)));
        const auto v = static_cast<uint8_t>(std::lround(128 + facade_saturation * std::sin(hue)));
        const auto y = static_cast<uint8_t>(facade_luma_min + i * facade_shuffle % sectors * 3 / 2);
        fill({left, left + sector + 1, -all, all}, {y, u, v});
        for (const double bottom : {-18.0, 2.0, 22.0}) {
            fill({left + 3, left + 6, bottom, bottom + 6}, window);
        }
    }
    fill({from, -from + 1, cornice_tilt, all}, cornice);
    fill({from, -from + 1, sky_tilt, all}, sky);
}

void Panorama::paint_ground() {
    constexpr double bottom = -90;
    constexpr double tile = 5;
    const double wall_tilt = -wall_part * height_ * view_field_horizontal / degree / width_;
    const double from = -full_turn / 2;
    fill({from, -from + 1, bottom, wall_tilt}, wall);
    const double top = std::min(floor_tilt, wall_tilt);
    const auto columns = static_cast<int32_t>(full_turn / tile);
    const auto rows = static_cast<int32_t>((top - bottom) / tile) + 1;
    for (int32_t i = 0; i < columns * rows; ++i) {
        const int32_t across = i % columns;
        const int32_t down = i / columns;
        const double left = from + across * tile;
        const double upper = top - down * tile;
        const auto shade = static_cast<size_t>((across + down) % 2);
        fill({left, left + tile + 1, upper - tile, upper}, {tile_luma[shade], 124, 132});
    }
}

void Panorama::paint_posts() {
    for (int32_t pan = -180; pan < 180; pan += static_cast<int32_t>(sector)) {
        fill({pan - post_width / 2, pan + post_width / 2, floor_tilt, cornice_tilt}, post);
        for (const double tilt : mark_tilts) {
            fill({pan - post_width / 2, pan + post_width / 2, tilt - mark_height / 2, tilt + mark_height / 2},
                 mark);
        }
        paint_number(pan + 1.5, 18, pan);
    }
}

void Panorama::paint_number(double left, double top, int32_t number) {
    for (const char letter : std::to_string(number)) {
        const uint16_t bits = letter == '-' ? minus_bits : digit_bits[static_cast<size_t>(letter - '0')];
        for (int32_t i = 0; i < letter_rows * letter_columns; ++i) {
            const int32_t across = i % letter_columns;
            const int32_t down = i / letter_columns;
            const double x = left + across * letter_dot;
            const double y = top - down * letter_dot;
            if ((bits >> (letter_rows * letter_columns - 1 - i) & 1) != 0) {
                fill({x, x + letter_dot, y - letter_dot, y}, letters);
            }
        }
        left += (letter_columns + 1) * letter_dot;
    }
}

void Panorama::show(const Planes &picture, const ViewRecord &view, uint32_t brightness) const {
    const double left_edge = view.pan - view_field_horizontal / 2.0 + full_turn / 2 * degree;
    const int32_t left = modulo(even(pixels(left_edge)), world_width_);
    const int32_t top =
        std::clamp(even((world_height_ - height_) / 2.0 - pixels(view.tilt)), 0, world_height_ - height_);
    const auto luma = [brightness](const uint8_t *from, uint8_t *to, int32_t count) {
        copy_luma(from, to, count, brightness);
    };
    const auto chroma = [brightness](const uint8_t *from, uint8_t *to, int32_t count) {
        copy_chroma(from, to, count, brightness);
    };
    copy_part(planes_.y, left, top, picture.y, luma);
    copy_part(planes_.u, left / 2, top / 2, picture.u, chroma);
    copy_part(planes_.v, left / 2, top / 2, picture.v, chroma);
}

} // namespace board
