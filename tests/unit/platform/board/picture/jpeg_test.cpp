// Snapshots: the search for the quality, and JPEG itself.

#include "board/boardd/picture/jpeg.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <turbojpeg.h>

namespace {

using namespace board;

/* An encoder whose result has so many bytes for each step of quality, and which counts its calls. */
struct Encoder {
    size_t bytes_per_step;
    int calls = 0;
    std::vector<int> qualities = {};

    QualitySearch::Encode function() {
        return [this](int quality) {
            ++calls;
            qualities.push_back(quality);
            return Bytes(bytes_per_step * static_cast<size_t>(quality), static_cast<uint8_t>(quality));
        };
    }
};

TEST(QualitySearchTest, TakesTheBestWhenItFits) {
    QualitySearch search;
    Encoder encoder = {10};
    EXPECT_EQ(search.best(900, encoder.function()).size(), 900U);
    EXPECT_EQ(encoder.calls, 1);
}

TEST(QualitySearchTest, FillsTheMemoryAndNoMore) {
    for (size_t capacity = 10; capacity < 1000; capacity += 7) {
        QualitySearch search;
        Encoder encoder = {10};
        const Bytes bytes = search.best(capacity, encoder.function());
        EXPECT_LE(bytes.size(), capacity);
        EXPECT_FALSE(bytes.empty()) << capacity;
        EXPECT_LE(encoder.calls, 6);
        // The next better quality of those that were tried did not fit.
        for (const int quality : encoder.qualities) {
            EXPECT_TRUE(static_cast<size_t>(quality) * 10 > capacity || quality <= bytes[0]);
        }
    }
}

TEST(QualitySearchTest, KnowsWhatWasRightTheLastTime) {
    QualitySearch search;
    Encoder encoder = {10};
    const size_t size = search.best(420, encoder.function()).size();
    encoder.calls = 0;
    EXPECT_EQ(search.best(420, encoder.function()).size(), size);
    EXPECT_EQ(encoder.calls, 1);
}

TEST(QualitySearchTest, FindsBackToGoodQuality) {
    QualitySearch search;
    Encoder encoder = {10};
    search.best(20, encoder.function());
    encoder.calls = 0;
    EXPECT_GT(search.best(900, encoder.function()).size(), 700U);
    EXPECT_LE(encoder.calls, 6);
    search.best(420, encoder.function());
    EXPECT_GE(search.best(560, encoder.function()).size(), 420U);
}

TEST(QualitySearchTest, FindsNothingWhenNothingFits) {
    QualitySearch search;
    Encoder encoder = {10};
    EXPECT_TRUE(search.best(9, encoder.function()).empty());
    EXPECT_LE(encoder.calls, 6);
    EXPECT_FALSE(search.best(900, encoder.function()).empty()) << "and is none the worse for it";
}

TEST(QualitySearchTest, AnEncoderThatFailsIsNotAskedForever) {
    QualitySearch search;
    int calls = 0;
    EXPECT_TRUE(search
                    .best(100,
                          [&](int) {
                              ++calls;
                              return Bytes();
                          })
                    .empty());
    EXPECT_LE(calls, 6);
}

/* ---- the library ---- */

class Jpeg : public testing::Test {
  protected:
    static void SetUpTestSuite() { gst_init(nullptr, nullptr); }
};

Image plain(int32_t width, int32_t height, uint8_t luma) {
    const auto pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    Image image = {width, height, Bytes(pixels * 3 / 2, 128)};
    std::fill_n(image.bytes.begin(), pixels, luma);
    return image;
}

Image noise(int32_t width, int32_t height) {
    Image image = plain(width, height, 0);
    std::mt19937 random(7);
    std::generate(image.bytes.begin(), image.bytes.end(),
                  [&] { return static_cast<uint8_t>(90 + random() % 64); });
    return image;
}

struct Decoded {
    int width = 0;
    int height = 0;
    Bytes grey;
};

Decoded decoded(const Bytes &jpeg) {
    Decoded result;
    tjhandle handle = tjInitDecompress();
    int subsampling = 0;
    int colourspace = 0;
    EXPECT_EQ(tjDecompressHeader3(handle, jpeg.data(), jpeg.size(), &result.width, &result.height,
                                  &subsampling, &colourspace),
              0);
    EXPECT_EQ(subsampling, TJSAMP_420);
    result.grey.resize(static_cast<size_t>(result.width) * static_cast<size_t>(result.height));
    EXPECT_EQ(tjDecompress2(handle, jpeg.data(), jpeg.size(), result.grey.data(), result.width, 0,
                            result.height, TJPF_GRAY, 0),
              0);
    tjDestroy(handle);
    return result;
}

TEST_F(Jpeg, HasTheImagesSizeAndLuma) {
    for (const auto &[width, height] : {std::pair(64, 64), {98, 270}, {2560, 1440}}) {
        const Decoded picture = decoded(jpeg_of(plain(width, height, 90), 80));
        EXPECT_EQ(picture.width, width);
        EXPECT_EQ(picture.height, height);
        EXPECT_NEAR(picture.grey[picture.grey.size() / 2], 90, 2);
    }
}

TEST_F(Jpeg, FullRangeHasBlackAtZeroAndWhiteAtTheTop) {
    for (const auto &[from, to] : {std::pair(16, 0), {235, 255}, {0, 0}, {255, 255}, {126, 128}}) {
        Image image = plain(16, 16, static_cast<uint8_t>(from));
        use_full_range(image);
        EXPECT_NEAR(image.bytes[0], to, 1);
        EXPECT_EQ(image.bytes.back(), 128) << "grey stays grey";
    }
    Image image = plain(16, 16, 100);
    image.bytes.back() = 240;
    use_full_range(image);
    EXPECT_NEAR(image.bytes.back(), 255, 1);
}

TEST_F(Jpeg, FitsIntoLittleMemoryInItsFullSize) {
    QualitySearch search;
    const Decoded picture = decoded(jpeg_within(131072, noise(1280, 720), search));
    EXPECT_EQ(picture.width, 1280);
    EXPECT_EQ(picture.height, 720);
}

TEST_F(Jpeg, IsMadeSmallerWhenNoQualityIsLowEnough) {
    QualitySearch search;
    const Image image = noise(640, 360);
    const Bytes jpeg = jpeg_within(2500, image, search);
    ASSERT_FALSE(jpeg.empty());
    EXPECT_LE(jpeg.size(), 2500U);
    EXPECT_LT(decoded(jpeg).width, 640);
}

TEST_F(Jpeg, IsNotMadeWhenNothingFits) {
    QualitySearch search;
    EXPECT_TRUE(jpeg_within(100, noise(640, 360), search).empty());
    EXPECT_TRUE(jpeg_within(0, plain(64, 64, 16), search).empty());
}

TEST_F(Jpeg, HalvingKeepsSizesEvenAndHasAnEnd) {
    Image image = plain(98, 270, 70);
    std::vector<int32_t> widths;
    for (int i = 0; i < 6; ++i) {
        image = halved(image);
        widths.push_back(image.width);
        EXPECT_EQ(image.height % 2, 0);
        EXPECT_NEAR(image.bytes[0], 70, 2);
    }
    EXPECT_EQ(widths, (std::vector<int32_t>{48, 24, 16, 16, 16, 16}));
}

} // namespace
