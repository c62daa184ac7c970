/*
 * A small I420 picture for tests, with a margin around each plane that nobody may write to.
 */
#ifndef TESTS_UNIT_PLATFORM_BOARD_PICTURE_CANVAS_H
#define TESTS_UNIT_PLATFORM_BOARD_PICTURE_CANVAS_H

#include "board/boardd/picture/effects.h"

#include <algorithm>
#include <vector>

namespace fake {

class Canvas {
  public:
    Canvas(int32_t width, int32_t height, uint8_t y, uint8_t u = 128, uint8_t v = 128)
        : y_(width, height, y), u_(width / 2, height / 2, u), v_(width / 2, height / 2, v) {}

    board::Planes planes() { return {y_.plane(), u_.plane(), v_.plane()}; }
    uint8_t &y(int x, int row) { return y_.plane().row(row)[x]; }
    uint8_t &u(int x, int row) { return u_.plane().row(row)[x]; }
    uint8_t &v(int x, int row) { return v_.plane().row(row)[x]; }

    bool margins_are_whole() { return y_.margin_is_whole() && u_.margin_is_whole() && v_.margin_is_whole(); }

  private:
    static constexpr int32_t margin = 6;
    static constexpr uint8_t untouched = 0xEE;

    class Memory {
      public:
        Memory(int32_t width, int32_t height, uint8_t value)
            : width_(width), height_(height),
              bytes_(size(width + 2 * margin, height + 2 * margin), untouched) {
            for (int32_t y = 0; y < height; ++y) {
                std::fill_n(plane().row(y), width, value);
            }
        }

        board::Plane plane() {
            const int32_t stride = width_ + 2 * margin;
            return {bytes_.data() + size(margin, stride) + margin, stride, width_, height_};
        }

        /* The number of untouched bytes outside the plane is that of all bytes outside. */
        bool margin_is_whole() {
            std::vector<uint8_t> outside = bytes_;
            Memory copy = *this;
            copy.bytes_.swap(outside);
            for (int32_t y = 0; y < height_; ++y) {
                std::fill_n(copy.plane().row(y), width_, untouched);
            }
            return std::all_of(copy.bytes_.begin(), copy.bytes_.end(),
                               [](uint8_t byte) { return byte == untouched; });
        }

      private:
        static size_t size(int32_t one, int32_t other) {
            return static_cast<size_t>(one) * static_cast<size_t>(other);
        }

        int32_t width_;
        int32_t height_;
        std::vector<uint8_t> bytes_;
    };

    Memory y_;
    Memory u_;
    Memory v_;
};

} // namespace fake

#endif
