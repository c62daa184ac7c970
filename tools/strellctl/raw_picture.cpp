#include "strellctl/raw_picture.h"

#include "libboardav.h"
#include "strellctl/failure.h"
#include "strellctl/gstreamer.h"
#include "strellctl/wording.h"

#include <array>
#include <cstring>
#include <vector>

namespace ctl {

namespace {

constexpr char no_picture[] = "the board could not take a picture, and the reply is empty: see the log of "
                              "strell_v2 and boardctl status";
constexpr char no_reply[] =
    "what comes on this channel is no picture: it is served by something else than this "
    "version's strell_v2";
constexpr std::string_view jpeg_begin = "\xff\xd8";

/* What follows `header_bytes`, when the header says that there is so much. */
template <typename Info>
std::string_view payload_in(std::string_view frame, size_t header_bytes) {
    Info info;
    if (frame.size() < header_bytes) {
        throw Failure(no_reply);
    }
    std::memcpy(&info, frame.data(), sizeof info);
    if (info.len != frame.size() - header_bytes) {
        throw Failure(no_reply);
    }
    if (info.len == 0) {
        throw Failure(no_picture);
    }
    return frame.substr(header_bytes);
}

struct Ending {
    const char *text;
    PictureFormat format;
    bool needs_raw;
};

constexpr std::array endings = {
    Ending{".jpg", PictureFormat::jpeg, false}, Ending{".jpeg", PictureFormat::jpeg, false},
    Ending{".png", PictureFormat::png, true},   Ending{".y4m", PictureFormat::y4m, true},
    Ending{".yuv", PictureFormat::yuv, true},
};

std::string encoded_by(const char *element, std::string_view raw_picture) {
    constexpr uint32_t most_s = 10;
    const std::string caps =
        format("video/x-raw,format=I420,width=%u,height=%u,framerate=1/1", raw_width, raw_height);
    Pipeline pipeline(caps, std::string("videoconvert ! ") + element +
                                " ! appsink name=sink sync=false wait-on-eos=false");
    pipeline.push(raw_picture, 0, 0);
    const std::optional<std::string> error = pipeline.finish(most_s);
    std::string bytes = pipeline.take_output();
    if (error || bytes.empty()) {
        throw Failure("cannot encode the picture: " + error.value_or("nothing came out"));
    }
    return bytes;
}

} // namespace

std::string_view jpeg_in(std::string_view frame) {
    const std::string_view jpeg = payload_in<VideoFrameInfo>(frame, sizeof(VideoFrameInfo));
    if (!jpeg.starts_with(jpeg_begin)) {
        throw Failure(no_reply);
    }
    return jpeg;
}

std::string_view raw_picture_in(std::string_view frame) {
    const std::string_view picture = payload_in<RawFrameInfo>(frame, raw_header_bytes);
    if (picture.size() != raw_picture_bytes) {
        throw Failure(
            format("the board's raw frame has %zu bytes, and not those of 640x384 in 4:2:0", picture.size()));
    }
    return picture;
}

PictureFormat picture_format(const std::string &path, bool raw) {
    if (path == "-") {
        return raw ? PictureFormat::yuv : PictureFormat::jpeg;
    }
    std::vector<std::string> fitting;
    for (const Ending &ending : endings) {
        const bool fits = raw || !ending.needs_raw;
        if (path.ends_with(ending.text)) {
            if (!fits) {
                throw Usage(std::string(ending.text) +
                            " is for raw pictures: add --raw, or end the name with .jpg");
            }
            return ending.format;
        }
        if (fits) {
            fitting.emplace_back(ending.text);
        }
    }
    throw Usage("what \"" + printable(path) + "\" shall be is not clear: its name has to end with one of " +
                joined(fitting, " ") + " (- is standard output)");
}

std::string encoded(std::string_view raw_picture, PictureFormat format) {
    switch (format) {
    case PictureFormat::yuv:
        return std::string(raw_picture);
    case PictureFormat::y4m:
        return ctl::format("YUV4MPEG2 W%u H%u F1:1 Ip A1:1 C420jpeg\nFRAME\n", raw_width, raw_height) +
               std::string(raw_picture);
    case PictureFormat::png:
        return encoded_by("pngenc", raw_picture);
    case PictureFormat::jpeg:
        return encoded_by("jpegenc quality=95", raw_picture);
    }
    throw Failure("no such picture format");
}

} // namespace ctl
