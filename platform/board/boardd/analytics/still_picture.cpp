#include "board/boardd/analytics/still_picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <opencv2/imgproc.hpp>

namespace board {

namespace {

constexpr double follow_rate = 0.05; // of a frame's difference: the scene follows within some 4 s

// Light everywhere: the median over blocks of 20 x 16 pixels, so that a thing may cover half of the picture.
constexpr int block_columns = 16;
constexpr int block_rows = 12;
constexpr float light_step = 0.06F; // of the logarithm: 6 %

// Another view: most of the blocks that have edges change. A few blocks do so when something moves.
constexpr double view_difference_min = 6; // luma, from frame to frame, ...
constexpr double view_noises = 5;         // ... and so many times the noise
constexpr double edge_step = 3;           // luma from pixel to pixel
constexpr float edge_share = 0.04F;       // of a block's pixels
constexpr float changed_share = 0.03F;
constexpr int edge_blocks_min = 24;
constexpr double view_share = 0.5;

// A thing: along so much of its outline the logarithm has a step.
constexpr int outline_width = 3;
constexpr float outline_step = 0.022F; // from pixel to pixel
constexpr double outline_share = 0.35;

/* The logarithm of light, whose black is 16; what is darker drowns in noise, hence the offset. */
cv::Mat logarithm_table() {
    cv::Mat table(1, 256, CV_32F);
    for (int i = 0; i < 256; ++i) {
        table.at<float>(i) = std::log(static_cast<float>(std::max(i - 16, 0)) + 12.0F);
    }
    return table;
}

cv::Mat logarithm_of(const cv::Mat &luma) {
    static const cv::Mat table = logarithm_table();
    cv::Mat result;
    cv::LUT(luma, table, result);
    return result;
}

// The noise, as it is from frame to frame, is followed slowly: a view that turns is none.
constexpr double noise_up = 0.05; // luma, at each frame
constexpr double noise_down = 0.2;

/* The standard deviation of noise that has left a quarter of these differences smaller. */
double noise_of(const cv::Mat &difference) {
    std::array<int, 256> counts{};
    for (int y = 0; y < difference.rows; ++y) {
        const uint8_t *row = difference.ptr<uint8_t>(y);
        for (int x = 0; x < difference.cols; ++x) {
            ++counts[row[x]];
        }
    }
    const double quarter = static_cast<double>(difference.total()) / 4;
    double below = 0;
    size_t value = 0;
    while (value + 1 < counts.size() && below + counts[value] < quarter) {
        below += counts[value++];
    }
    // A difference of 0 stands for anything up to one half.
    const double quartile = static_cast<double>(value) - 0.5 + (quarter - below) / std::max(counts[value], 1);
    return std::max(quartile, 0.0) / 0.3186 + 0.5;
}

/* How steep a picture is, from pixel to pixel. */
cv::Mat steepness(const cv::Mat &picture) {
    cv::Mat across;
    cv::Mat down;
    cv::Mat result;
    cv::Sobel(picture, across, CV_32F, 1, 0, 3, 1.0 / 8);
    cv::Sobel(picture, down, CV_32F, 0, 1, 3, 1.0 / 8);
    cv::magnitude(across, down, result);
    return result;
}

/* The mean over each block. */
cv::Mat blocks_of(const cv::Mat &picture) {
    cv::Mat floats;
    picture.convertTo(floats, CV_32F);
    cv::Mat result;
    cv::resize(floats, result, cv::Size(block_columns, block_rows), 0, 0, cv::INTER_AREA);
    return result;
}

} // namespace

void StillPicture::begin(const cv::Mat &frame) {
    frame.convertTo(mean_, CV_32F);
    frame.copyTo(still_);
}

void StillPicture::compare(const cv::Mat &frame, const cv::Mat &before) {
    cv::subtract(logarithm_of(frame), logarithm_of(still_), ratio_);
    cv::Mat difference;
    cv::absdiff(frame, before, difference);
    noise_ += std::clamp(noise_of(difference) - noise_, -noise_down, noise_up);
    const double limit = std::max(view_difference_min, view_noises * noise_);
    cv::threshold(difference, changed_, limit, 255, cv::THRESH_BINARY);
}

bool StillPicture::light_changed() const {
    cv::Mat blocks = blocks_of(ratio_);
    float *const begin = blocks.ptr<float>();
    float *const middle = begin + blocks.total() / 2;
    std::nth_element(begin, middle, begin + blocks.total());
    return std::abs(*middle) > light_step;
}

bool StillPicture::view_changed() const {
    if (cv::countNonZero(changed_) == 0) {
        return false;
    }
    const cv::Mat edges = blocks_of(steepness(still_) > edge_step) / 255;
    const cv::Mat changes = blocks_of(changed_) / 255;
    const cv::Mat with_edges = edges > edge_share;
    const int edge_blocks = cv::countNonZero(with_edges);
    const int changed_blocks = cv::countNonZero(with_edges & (changes > changed_share));
    return edge_blocks >= edge_blocks_min && changed_blocks > view_share * edge_blocks;
}

bool StillPicture::is_thing(const std::vector<cv::Point> &outline) const {
    const cv::Rect picture(0, 0, ratio_.cols, ratio_.rows);
    cv::Rect around = cv::boundingRect(outline);
    around -= cv::Point(outline_width, outline_width);
    around += cv::Size(2 * outline_width, 2 * outline_width);
    around &= picture;
    cv::Mat band(around.size(), CV_8U, cv::Scalar(0));
    std::vector<cv::Point> moved = outline;
    for (cv::Point &point : moved) {
        point -= around.tl();
    }
    cv::polylines(band, moved, true, cv::Scalar(255), outline_width);
    const cv::Mat steps = steepness(ratio_(around)) > outline_step;
    const double length = cv::countNonZero(band);
    return length > 0 && cv::countNonZero(steps & band) > outline_share * length;
}

void StillPicture::follow(const cv::Mat &frame, const cv::Mat &moving) {
    cv::Mat unmoved;
    cv::bitwise_not(moving, unmoved);
    cv::accumulateWeighted(frame, mean_, follow_rate, unmoved);
    mean_.convertTo(still_, CV_8U);
}

} // namespace board
