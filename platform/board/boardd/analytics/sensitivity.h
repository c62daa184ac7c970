/*
 * How sensitive motion detection is, in each region of the picture, and what that means in numbers. Plain
 * values.
 *
 * The picture has 8 x 4 regions, row by row. Each has a level: 0 switches it off, 1 is the least and 5 the
 * most sensitive one; more counts as 5, less than 0 as 0. "Lowest" makes every level four times as reluctant:
 * an algorithm that is only to see what is large.
 */
#ifndef PLATFORM_BOARD_BOARDD_ANALYTICS_SENSITIVITY_H
#define PLATFORM_BOARD_BOARDD_ANALYTICS_SENSITIVITY_H

#include "board/picture_protocol.h"

#include <algorithm>
#include <array>
#include <span>

namespace board {

constexpr int32_t region_columns = 8;
constexpr int32_t region_rows = 4;
static_assert(size_t{region_columns} * region_rows == motion_regions);

constexpr int32_t level_max = 5;
constexpr int32_t level_default = 3;

struct Sensitivity {
    std::array<int32_t, motion_regions> levels;
    bool lowest = false;

    Sensitivity() { levels.fill(level_default); }

    bool operator==(const Sensitivity &) const = default;

    /* As set_md_sense has them: none (the default), one for the whole picture, or one for each region. */
    static Sensitivity of(std::span<const int32_t> values, bool lowest) {
        Sensitivity result;
        for (size_t i = 0; i < motion_regions && !values.empty(); ++i) {
            const int32_t value = values.size() == motion_regions ? values[i] : values[0];
            result.levels[i] = std::clamp(value, 0, level_max);
        }
        result.lowest = lowest;
        return result;
    }

    /* The region that a place is in; `x` and `y` run from 0 to 1. */
    static size_t region_at(double x, double y) {
        const auto part = [](double place, int32_t parts) {
            return static_cast<size_t>(std::clamp(static_cast<int32_t>(place * parts), 0, parts - 1));
        };
        return part(y, region_rows) * region_columns + part(x, region_columns);
    }

    bool anything_on() const {
        return std::any_of(levels.begin(), levels.end(), [](int32_t level) { return level > 0; });
    }

    /* How much of the picture a motion has to cover there, from 0 to 1: 0.4 % at level 3, twice as much with
     * each level less. Not for a region that is off. */
    double least_share(size_t region) const {
        return 0.004 * static_cast<double>(1 << (level_max - levels[region])) / 4 * (lowest ? 4 : 1);
    }

    /* By how many standard deviations of its noise a pixel has to differ from the background, squared: that
     * of the most sensitive region. */
    double variances() const {
        constexpr std::array<double, level_max + 1> of_level = {49, 49, 36, 25, 20, 16};
        return of_level[static_cast<size_t>(*std::max_element(levels.begin(), levels.end()))];
    }
};

} // namespace board

#endif
