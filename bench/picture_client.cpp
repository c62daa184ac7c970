#include "picture_client.h"

#include "libboardav.h"
#include "measure.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <turbojpeg.h>
#include <vector>

namespace bench {

namespace {

constexpr int32_t patience_ms = 20000;
constexpr uint32_t raw_header_bytes = 64;
constexpr uint32_t raw_bytes = 368640;

struct Destroyer {
    void operator()(void *handle) const { tjDestroy(handle); }
};

/* From the header, in which it stands at `offset`. */
uint32_t payload_bytes(const shbf_frame_t &frame, size_t offset, uint32_t header_bytes) {
    uint32_t length = 0;
    if (frame.size >= header_bytes) {
        std::memcpy(&length, static_cast<const uint8_t *>(frame.data) + offset, sizeof length);
    }
    if (frame.size < header_bytes || frame.size - header_bytes != length) {
        throw std::runtime_error("a reply is no picture");
    }
    return length;
}

} // namespace

PictureClient::PictureClient(Picture picture)
    : picture_(picture), receiver_(shbf_rcv_open(
                             picture == Picture::jpeg ? "/run/jpeg_snap" : "/run/video_rawstream", nullptr)) {
    if (receiver_ == nullptr) {
        throw std::runtime_error("cannot attach to the channel of pictures");
    }
}

std::optional<uint64_t> PictureClient::ask() {
    constexpr char request[] = "REQ_SNAPSHOT_A";
    const uint64_t start_ns = now_ns();
    shbf_event_t event;
    if (shbf_rcv_send(receiver_, request, sizeof request - 1) != 0 ||
        shbf_rcv_next(receiver_, &event, patience_ms) != 1 || event.kind != SHBF_EVENT_FRAME) {
        throw std::runtime_error("no reply to the request of a picture");
    }
    const uint64_t took_ns = now_ns() - start_ns;
    const bool good = check(event.frame);
    shbf_rcv_release(receiver_, &event.frame);
    return good ? std::optional(took_ns) : std::nullopt;
}

/* False when there is none in it. */
bool PictureClient::check(const shbf_frame_t &frame) {
    if (picture_ == Picture::raw) {
        const uint32_t length = payload_bytes(frame, offsetof(RawFrameInfo, len), raw_header_bytes);
        if (length != 0 && length != raw_bytes) {
            throw std::runtime_error("a raw frame is not whole");
        }
        return length != 0;
    }
    constexpr uint32_t header_bytes = sizeof(VideoFrameInfo);
    const uint32_t length = payload_bytes(frame, offsetof(VideoFrameInfo, len), header_bytes);
    if (length != 0) {
        check_jpeg(static_cast<const uint8_t *>(frame.data) + header_bytes, length);
    }
    return length != 0;
}

/* A warning, such as of a file that ends early, counts as an error. */
void PictureClient::check_jpeg(const uint8_t *bytes, uint32_t length) {
    const std::unique_ptr<void, Destroyer> decoder(tjInitDecompress());
    int subsampling = 0;
    int colours = 0;
    if (tjDecompressHeader3(decoder.get(), bytes, length, &width_, &height_, &subsampling, &colours) != 0) {
        throw std::runtime_error(std::string("a JPEG does not decode: ") + tjGetErrorStr2(decoder.get()));
    }
    std::vector<unsigned char> picture(tjBufSizeYUV2(width_, 1, height_, subsampling));
    if (tjDecompressToYUV2(decoder.get(), bytes, length, picture.data(), width_, 1, height_,
                           TJFLAG_STOPONWARNING) != 0) {
        throw std::runtime_error(std::string("a JPEG does not decode: ") + tjGetErrorStr2(decoder.get()));
    }
}

} // namespace bench
