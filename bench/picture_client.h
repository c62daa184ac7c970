/*
 * A client that asks the camera for pictures, one after the other, and looks at each: a JPEG has to decode
 * to its end, a raw frame has to be whole.
 *
 * Threads: one at a time.
 */
#ifndef BENCH_PICTURE_CLIENT_H
#define BENCH_PICTURE_CLIENT_H

#include "libshbf_receiver.h"

#include <cstdint>
#include <optional>

namespace bench {

enum class Picture { jpeg, raw };

class PictureClient {
  public:
    /* Throws std::runtime_error when it cannot attach. */
    explicit PictureClient(Picture picture);
    ~PictureClient() { shbf_rcv_close(receiver_); }
    PictureClient(const PictureClient &) = delete;
    PictureClient &operator=(const PictureClient &) = delete;

    /*
     * Asks and waits. Result: nanoseconds until the reply was there, before it is looked at; nothing when the
     * camera had no picture in time, as it happens when the machine has more to do than it can. Throws
     * std::runtime_error when no reply comes, or one that is no picture.
     */
    std::optional<uint64_t> ask();

    /* Of the last JPEG. */
    int width() const { return width_; }
    int height() const { return height_; }

  private:
    bool check(const shbf_frame_t &frame);
    void check_jpeg(const uint8_t *bytes, uint32_t length);

    Picture picture_;
    shbf_rcv_t *receiver_;
    int width_ = 0;
    int height_ = 0;
};

} // namespace bench

#endif
