#include "contract/picture_fixture.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>

namespace contract {

namespace {

constexpr uint32_t raw_bytes = 368640;

/* Calls `function(x, y)` for each pixel of the part, in a plane of this size. */
template <typename Function>
void for_part(const Part &part, int width, int height, Function function) {
    for (int y = part.top * height / 100; y < part.bottom * height / 100; ++y) {
        for (int x = part.left * width / 100; x < part.right * width / 100; ++x) {
            function(x, y);
        }
    }
}

std::vector<uint8_t> content_of(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

} // namespace

uint8_t Pixels::chroma(int plane, int x, int y) const {
    const ptrdiff_t pixels = ptrdiff_t{width} * height;
    return bytes.begin()[pixels + plane * pixels / 4 + ptrdiff_t{y} * (width / 2) + x];
}

double Pixels::mean_luma(const Part &part) const {
    double sum = 0;
    int count = 0;
    for_part(part, width, height, [&](int x, int y) {
        sum += luma(x, y);
        ++count;
    });
    return sum / count;
}

double Pixels::mean_chroma(int plane, const Part &part) const {
    double sum = 0;
    int count = 0;
    for_part(part, width / 2, height / 2, [&](int x, int y) {
        sum += chroma(plane, x, y);
        ++count;
    });
    return sum / count;
}

int Pixels::brightest(const Part &part) const {
    int most = 0;
    for_part(part, width, height, [&](int x, int y) { most = std::max<int>(most, luma(x, y)); });
    return most;
}

double difference(const Pixels &one, const Pixels &other, const Part &part) {
    double sum = 0;
    int count = 0;
    for_part(part, one.width, one.height, [&](int x, int y) {
        sum += std::abs(one.luma(x, y) - other.luma(x, y));
        ++count;
    });
    return sum / count;
}

std::vector<std::string> plain_source(const std::string &colour) {
    return {"--source", "videotestsrc is-live=true pattern=solid-color foreground-color=" + colour};
}

void PictureTest::start_picture(const std::vector<std::string> &options) {
    start_board(profile_of(h265_channel(320, 180, 20), h264_channel(160, 90, 20)), options);
}

Pixels PictureTest::shown(int32_t channel) {
    const uint64_t now_us = monotonic_us();
    EXPECT_EQ(req_IDR_one(channel), 0);
    Frame frame{};
    const auto is_new_key = [&] {
        const int32_t result = fetch(channel, frame);
        const bool is_key = result == 0 && frame.info.len > 0 && frame.info.is_key != 0;
        // Frames were lost while nobody fetched, or a key frame was on its way already: ask once more.
        if (result == -2 || (is_key && frame.info.timestamp_us <= now_us)) {
            EXPECT_EQ(req_IDR_one(channel), 0);
        }
        return is_key && frame.info.timestamp_us > now_us;
    };
    EXPECT_TRUE(support::eventually(is_new_key)) << boardd_->output();
    return decode(frame.payload, frame.info.board0 == 1 ? "hevc" : "h264");
}

Pixels PictureTest::snapshot(uint32_t capacity) {
    jpeg_.assign(capacity, 0);
    const int32_t result = get_jpeg_snap(jpeg_.data(), capacity, &info_);
    EXPECT_EQ(result, 0) << boardd_->output();
    EXPECT_LE(info_.len, capacity);
    jpeg_.resize(std::min(info_.len, capacity));
    return decode(jpeg_, "mjpeg");
}

Pixels PictureTest::raw_frame() {
    Pixels pixels = {640, 384, std::vector<uint8_t>(raw_bytes)};
    EXPECT_EQ(get_raw_frame(pixels.bytes.data(), raw_bytes, &raw_info_, 1), 0) << boardd_->output();
    EXPECT_EQ(raw_info_.len, raw_bytes);
    return pixels;
}

Pixels PictureTest::decode(const std::vector<uint8_t> &bytes, const std::string &format) {
    const std::string in = run_dir_.file("picture." + format);
    const std::string out = run_dir_.file("picture.y4m");
    std::ofstream(in, std::ios::binary)
        .write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    const auto outcome = support::run({"ffmpeg", "-v", "error", "-y", "-f", format, "-i", in, "-frames:v",
                                       "1", "-pix_fmt", "yuv420p", "-f", "yuv4mpegpipe", out});
    EXPECT_EQ(outcome.output, "") << "the decoder complains";
    const std::vector<uint8_t> file = content_of(out);
    Pixels pixels;
    const std::string header(file.begin(), std::find(file.begin(), file.end(), '\n'));
    EXPECT_EQ(std::sscanf(header.c_str(), "YUV4MPEG2 W%d H%d", &pixels.width, &pixels.height), 2);
    const auto size = static_cast<ptrdiff_t>(pixels.width) * pixels.height * 3 / 2;
    if (size > 0 && static_cast<ptrdiff_t>(file.size()) > size) {
        pixels.bytes.assign(file.end() - size, file.end());
        return pixels;
    }
    ADD_FAILURE() << "there is no picture";
    return {2, 2, std::vector<uint8_t>(6)};
}

} // namespace contract
