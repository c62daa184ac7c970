/*
 * What the suites about the picture share: pixels of streams, snapshots and raw frames, and measures of them.
 */
#ifndef TESTS_CONTRACT_PICTURE_FIXTURE_H
#define TESTS_CONTRACT_PICTURE_FIXTURE_H

#include "contract/board_fixture.h"

namespace contract {

/* A part of a picture, in hundredths of its size. */
struct Part {
    int left, top, right, bottom;
};
constexpr Part everything = {0, 0, 100, 100};
/* Where the time stamp is, and corners that it leaves alone. */
constexpr Part top_left = {0, 0, 60, 26};
constexpr Part top_right = {90, 0, 100, 8};
constexpr Part bottom_right = {90, 92, 100, 100};

/* A decoded picture: I420, in video's range of values. */
struct Pixels {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> bytes;

    uint8_t luma(int x, int y) const { return bytes.begin()[ptrdiff_t{y} * width + x]; }
    uint8_t chroma(int plane, int x, int y) const;

    double mean_luma(const Part &part) const;
    double mean_chroma(int plane, const Part &part) const; /* plane 0 is U, 1 is V */
    int brightest(const Part &part) const;
};

/* Mean difference of the luma of two pictures of one size. */
double difference(const Pixels &one, const Pixels &other, const Part &part);

/* A picture that does not move, of one colour: ARGB. */
std::vector<std::string> plain_source(const std::string &colour);

class PictureTest : public BoardTest {
  protected:
    /* A board at small sizes with this source; both kinds of encoder. */
    void start_picture(const std::vector<std::string> &options = {});

    /* What a decoder makes of a stream's next key frame captured from now on. */
    Pixels shown(int32_t channel = 0);

    /* A snapshot, decoded; the JPEG itself is in jpeg_, with info_. */
    Pixels snapshot(uint32_t capacity = snapshot_capacity);

    /* A raw frame; its description is in raw_info_. */
    Pixels raw_frame();

    static constexpr uint32_t snapshot_capacity = 131072;
    std::vector<uint8_t> jpeg_;
    VideoFrameInfo info_{};
    RawFrameInfo raw_info_{};

  private:
    Pixels decode(const std::vector<uint8_t> &bytes, const std::string &format);
};

} // namespace contract

#endif
