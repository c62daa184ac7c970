#include "tools/probe.h"

#include "support/process.h"

#include <gtest/gtest.h>
#include <sstream>

namespace ctl_test {

namespace {

constexpr auto decode_patience = std::chrono::seconds(60);

} // namespace

std::string probe(const std::string &file) {
    return support::run({"ffprobe", "-v", "error", "-count_frames", "-show_entries",
                         "stream=codec_name,width,height,nb_read_frames", "-of", "csv=p=0:s=\\ ", file},
                        {}, decode_patience)
        .output;
}

int frames_in(const std::string &file) {
    const std::string seen = probe(file);
    std::istringstream words(seen);
    std::string codec;
    int width = 0;
    int height = 0;
    int frames = -1;
    std::string complaint;
    const bool good = !(words >> codec >> width >> height >> frames).fail() && !(words >> complaint);
    EXPECT_TRUE(good) << file << ": " << seen;
    return good ? frames : -1;
}

} // namespace ctl_test
