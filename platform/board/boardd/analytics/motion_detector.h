/*
 * Motion in a sequence of pictures: background subtraction (OpenCV's MOG2), of which those blobs count that
 *   - are large enough for the sensitivity of the region that their middle is in,
 *   - are no mere outline, as of a rectangle that somebody draws,
 *   - have edges of their own (a change of light has none, still_picture.h),
 *   - differ from the frame before, too (a thing that has been put down does not), and
 *   - are there in `frames_to_tell` frames, of which no two on end lack them.
 *
 * When the picture as a whole becomes another one, because the caller says so or because it looks so, the
 * background is learnt anew, and nothing is told for settle_us.
 *
 * Pure: time comes with the frames. One thread for each object.
 */
#ifndef PLATFORM_BOARD_BOARDD_ANALYTICS_MOTION_DETECTOR_H
#define PLATFORM_BOARD_BOARDD_ANALYTICS_MOTION_DETECTOR_H

#include "board/boardd/analytics/sensitivity.h"
#include "board/boardd/analytics/still_picture.h"

#include <opencv2/video/background_segm.hpp>
#include <optional>

namespace board {

/* How often it wants a picture, ... */
constexpr uint64_t detect_interval_us = 200'000;
/* ... and how long it may be without one before it starts anew. */
constexpr uint64_t detect_gap_us = 3'000'000;

/* How long it is silent after the picture as a whole has changed. */
constexpr uint64_t settle_us = 1'000'000;

constexpr int32_t frames_to_tell = 3;

/* What moves, in pixels of a raw frame, whose raw_width x raw_height span the whole picture. */
struct Motion {
    int32_t x;
    int32_t y;
    int32_t width;
    int32_t height;
    int32_t area; /* of the blob inside that rectangle */

    bool operator==(const Motion &) const = default;
};

class MotionDetector {
  public:
    MotionDetector();

    void set(const Sensitivity &sensitivity);

    /*
     * The next picture: luma of any size, CV_8UC1, captured at `time_us`. `look` is another number when the
     * picture looks otherwise than the last one did for a reason that the caller knows. Result: the largest
     * motion, if there is any.
     */
    std::optional<Motion> see(const cv::Mat &luma, uint64_t time_us, uint32_t look);

    /* Starts anew with the next picture, which comes after a pause. */
    void forget() { known_ = false; }

    /* How often the background was learnt anew; wraps. */
    uint32_t relearnt() const { return relearnt_; }

  private:
    struct Blob {
        cv::Rect box;
        int32_t area;
        int32_t frames; /* it has been there */
    };

    bool starts_anew(const cv::Mat &frame, uint64_t time_us, uint32_t look);
    void learn_anew(const cv::Mat &frame, uint64_t time_us);
    std::vector<Blob> blobs_in(const cv::Mat &frame, uint64_t time_us);
    std::optional<Blob> blob_of(const std::vector<cv::Point> &outline, const cv::Mat &mask,
                                const cv::Mat &moved) const;
    int32_t frames_of(const cv::Rect &box) const;

    Sensitivity sensitivity_;
    cv::Ptr<cv::BackgroundSubtractorMOG2> subtractor_;
    StillPicture still_;
    cv::Mat regions_; /* 255 where detection is on */
    cv::Mat before_;  /* the last frame */
    bool known_ = false;
    uint32_t look_ = 0;
    uint64_t last_us_ = 0;
    uint64_t settled_us_ = 0;
    std::vector<Blob> blobs_;         /* of the last frame */
    std::vector<Blob> earlier_blobs_; /* of the one before */
    uint32_t relearnt_ = 0;
};

} // namespace board

#endif
