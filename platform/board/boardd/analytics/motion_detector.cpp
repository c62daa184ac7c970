#include "board/boardd/analytics/motion_detector.h"

#include <initializer_list>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#include <utility>

namespace board {

namespace {

constexpr int history_frames = 150;      // 30 s: how fast the background follows
constexpr double background_share = 0.7; // what is there for less than 30 % of the time is no background
constexpr double foreground_max = 0.6;   // of the picture; more than that is no motion but another picture
constexpr double difference_min = 7;     // luma, from frame to frame, for a pixel to have moved
constexpr double moved_share = 0.08;     // of a blob's pixels
constexpr double filled_share = 0.55;    // of what an outline encloses; a drawn rectangle is hollow
constexpr int reach = 40;                // pixels: how far a blob may have got from one frame to the next

const cv::Size detect_size(detect_width, detect_height);

/* Small enough to be cheap, and with little noise. */
cv::Mat reduced(const cv::Mat &luma) {
    cv::Mat frame;
    if (luma.size() == detect_size) {
        frame = luma;
    } else {
        cv::resize(luma, frame, detect_size, 0, 0, cv::INTER_AREA);
    }
    cv::Mat result;
    cv::GaussianBlur(frame, result, cv::Size(3, 3), 0);
    return result;
}

cv::Mat square(int pixels) {
    return cv::getStructuringElement(cv::MORPH_RECT, cv::Size(pixels, pixels));
}

/* Where a region is, in pixels of the reduced picture. */
cv::Rect area_of(int32_t region) {
    constexpr int width = detect_width / region_columns;
    constexpr int height = detect_height / region_rows;
    return {region % region_columns * width, region / region_columns * height, width, height};
}

/* In pixels of a raw frame. */
Motion motion_of(const cv::Rect &box, int32_t area) {
    constexpr int32_t scale = raw_width / detect_width;
    static_assert(raw_width == scale * detect_width && raw_height == scale * detect_height);
    return {box.x * scale, box.y * scale, box.width * scale, box.height * scale, area * scale * scale};
}

} // namespace

MotionDetector::MotionDetector() : regions_(detect_size, CV_8U) {
    cv::setNumThreads(1); // of the process: the pictures are small, and the encoders need the other cores
    set(Sensitivity());
}

void MotionDetector::set(const Sensitivity &sensitivity) {
    sensitivity_ = sensitivity;
    if (subtractor_ != nullptr) {
        subtractor_->setVarThreshold(sensitivity.variances());
    }
    for (size_t i = 0; i < motion_regions; ++i) {
        regions_(area_of(static_cast<int32_t>(i))).setTo(sensitivity.levels[i] > 0 ? 255 : 0);
    }
}

std::optional<Motion> MotionDetector::see(const cv::Mat &luma, uint64_t time_us, uint32_t look) {
    const cv::Mat frame = reduced(luma);
    std::vector<Blob> blobs;
    if (starts_anew(frame, time_us, look)) {
        learn_anew(frame, time_us);
    } else {
        blobs = blobs_in(frame, time_us);
    }
    look_ = look;
    last_us_ = time_us;
    before_ = frame;
    if (time_us < settled_us_) {
        blobs.clear();
    }
    earlier_blobs_ = std::exchange(blobs_, std::move(blobs));
    const Blob *largest = nullptr;
    for (const Blob &blob : blobs_) {
        if (blob.frames >= frames_to_tell && (largest == nullptr || blob.area > largest->area)) {
            largest = &blob;
        }
    }
    return largest != nullptr ? std::optional(motion_of(largest->box, largest->area)) : std::nullopt;
}

bool MotionDetector::starts_anew(const cv::Mat &frame, uint64_t time_us, uint32_t look) {
    if (!known_ || look != look_ || time_us > last_us_ + detect_gap_us) {
        return true;
    }
    still_.compare(frame, before_);
    return still_.all_changed();
}

void MotionDetector::learn_anew(const cv::Mat &frame, uint64_t time_us) {
    subtractor_ = cv::createBackgroundSubtractorMOG2(history_frames, sensitivity_.variances(), false);
    subtractor_->setBackgroundRatio(background_share);
    cv::Mat everything; // of the first frame, all is new
    subtractor_->apply(frame, everything);
    still_.begin(frame);
    known_ = true;
    settled_us_ = time_us + settle_us;
    blobs_.clear();
    earlier_blobs_.clear();
    ++relearnt_;
}

std::vector<MotionDetector::Blob> MotionDetector::blobs_in(const cv::Mat &frame, uint64_t time_us) {
    cv::Mat mask;
    subtractor_->apply(frame, mask);
    if (cv::countNonZero(mask) > foreground_max * detect_size.area()) {
        learn_anew(frame, time_us);
        return {};
    }
    still_.follow(frame, mask);
    mask &= regions_;
    cv::morphologyEx(mask, mask, cv::MORPH_OPEN, square(3));
    cv::morphologyEx(mask, mask, cv::MORPH_CLOSE, square(5));
    cv::Mat moved;
    cv::absdiff(frame, before_, moved);
    cv::threshold(moved, moved, difference_min, 255, cv::THRESH_BINARY);
    std::vector<std::vector<cv::Point>> outlines;
    cv::findContours(mask, outlines, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
    std::vector<Blob> blobs;
    for (const std::vector<cv::Point> &outline : outlines) {
        const std::optional<Blob> blob = blob_of(outline, mask, moved);
        if (blob) {
            blobs.push_back(*blob);
        }
    }
    return blobs;
}

/* What the outline encloses, when it counts. */
std::optional<MotionDetector::Blob> MotionDetector::blob_of(const std::vector<cv::Point> &outline,
                                                            const cv::Mat &mask, const cv::Mat &moved) const {
    const cv::Rect box = cv::boundingRect(outline);
    const double area = cv::contourArea(outline);
    const size_t region = Sensitivity::region_at((box.x + box.width / 2.0) / detect_width,
                                                 (box.y + box.height / 2.0) / detect_height);
    const double share = area / detect_size.area();
    if (sensitivity_.levels[region] == 0 || share < sensitivity_.least_share(region)) {
        return std::nullopt;
    }
    const bool moves = cv::countNonZero(moved(box)) > moved_share * area;
    const bool filled = cv::countNonZero(mask(box)) > filled_share * area;
    if (!moves || !filled || !still_.is_thing(outline)) {
        return std::nullopt;
    }
    return Blob{box, static_cast<int32_t>(area), frames_of(box)};
}

/* In how many frames a blob has been there, this one included: one more than one that was near in the last
 * frame, or in that before it, since a blob may be lost for a frame. */
int32_t MotionDetector::frames_of(const cv::Rect &box) const {
    const cv::Rect around(box.x - reach, box.y - reach, box.width + 2 * reach, box.height + 2 * reach);
    int32_t frames = 0;
    for (const std::vector<Blob> *blobs : {&blobs_, &earlier_blobs_}) {
        for (const Blob &blob : *blobs) {
            frames = (around & blob.box).area() > 0 ? std::max(frames, blob.frames) : frames;
        }
    }
    return frames + 1;
}

} // namespace board
