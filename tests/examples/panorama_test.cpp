// The example that takes the photos of a panorama, with a whole camera.

#include "board/boardctl.h"
#include "examples/example.h"
#include "support/system.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>

using example_test::content;
using example_test::has;
using example_test::run_example;

namespace {

class PanoramaExample : public testing::Test {
  protected:
    PanoramaExample() : directory_(system_.dir().file("photos")) {
        std::filesystem::create_directories(directory_);
    }
    std::string photo(int number) const { return directory_ + "/photo-" + std::to_string(number) + ".jpg"; }

    /* What was said, without photos and the log. */
    static std::vector<std::string> talk(const std::string &output) {
        std::vector<std::string> lines;
        for (size_t at = 0; at < output.size();) {
            const size_t end = output.find('\n', at);
            const std::string line = output.substr(at, end - at);
            if (has(line, " -> ") || has(line, "  motor: ")) {
                lines.push_back(line);
            }
            at = end == std::string::npos ? output.size() : end + 1;
        }
        return lines;
    }

    /* The mean colour in the middle of a photo: red, green, blue. */
    std::string colour(int number) const {
        const std::string file = directory_ + "/colour";
        const auto outcome =
            support::run({"ffmpeg", "-v", "error", "-y", "-i", photo(number), "-vf",
                          "crop=200:120:220:120,scale=1:1", "-f", "rawvideo", "-pix_fmt", "rgb24", file});
        EXPECT_EQ(outcome.output, "");
        return content(file);
    }

    support::System system_;
    std::string directory_;
};

int difference(const std::string &one, const std::string &other) {
    int sum = 0;
    for (size_t i = 0; i < 3; ++i) {
        sum += std::abs(static_cast<uint8_t>(one.at(i)) - static_cast<uint8_t>(other.at(i)));
    }
    return sum;
}

TEST_F(PanoramaExample, TurnsAndTakesAPhotoAtEachOfFiveSteps) {
    system_.start();
    const auto outcome = run_example("panorama", {directory_});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    EXPECT_EQ(talk(outcome.output),
              (std::vector<std::string>{
                  "motor_reset_OK -> step1", "  motor: direction 8, 145 degrees: pan is -145.00",
                  "step1_OK -> step2", "  motor: direction 7, 75 degrees: pan is -70.00", "step2_OK -> step3",
                  "  motor: direction 7, 75 degrees: pan is 5.00", "step3_OK -> step4",
                  "  motor: direction 7, 75 degrees: pan is 80.00", "step4_OK -> step5",
                  "  motor: direction 7, 75 degrees: pan is 155.00", "step5_OK -> end",
                  "panorama_done -> intterupt_exit"}))
        << outcome.output;
    EXPECT_TRUE(has(outcome.output, "info [tavra_panoram_get_next_step] : step5")) << outcome.output;
    EXPECT_EQ(board::BoardCtl().scene().view.pan, 0);
    for (int i = 1; i <= 5; ++i) {
        const auto probe = support::run({"ffprobe", "-v", "error", "-show_entries",
                                         "stream=codec_name,width,height", "-of", "csv=p=0", photo(i)});
        EXPECT_EQ(probe.output, "mjpeg,640,360\n") << photo(i);
        for (int other = 1; other < i; ++other) {
            EXPECT_GT(difference(colour(i), colour(other)), 30) << "the walls of " << i << " and " << other;
        }
    }
    EXPECT_FALSE(std::filesystem::exists(photo(6)));
}

TEST_F(PanoramaExample, SaysThatThePhotosHaveNoPlaceToGo) {
    system_.start();
    const auto outcome = run_example("panorama", {directory_ + "/not-there"});
    EXPECT_EQ(outcome.exit_code, 1) << outcome.output;
    EXPECT_TRUE(has(outcome.output, "DIRECTORY has to exist")) << outcome.output;
}

TEST_F(PanoramaExample, TurnsTheOtherWayRound) {
    system_.start();
    const auto outcome = run_example("panorama", {directory_, "--reverse"});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    EXPECT_TRUE(has(outcome.output, "direction 7, 145 degrees: pan is 145.00")) << outcome.output;
    EXPECT_TRUE(has(outcome.output, "direction 8, 75 degrees: pan is -155.00")) << outcome.output;
}

TEST_F(PanoramaExample, SaysWhatIsWrong) {
    auto outcome = run_example("panorama", {directory_});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_TRUE(has(outcome.output, "boardd")) << outcome.output;
    system_.start_board();
    outcome = run_example("panorama", {directory_});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_TRUE(has(outcome.output, "no camera: start strell_v2")) << outcome.output;
    EXPECT_EQ(run_example("panorama").exit_code, 2);
    EXPECT_EQ(run_example("panorama", {directory_, "--backwards"}).exit_code, 2);
}

} // namespace
