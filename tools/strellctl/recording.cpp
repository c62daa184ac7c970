#include "strellctl/recording.h"

#include "strellctl/failure.h"
#include "strellctl/recording_elementary.h"
#include "strellctl/recording_muxed.h"
#include "strellctl/wording.h"

#include <algorithm>
#include <array>
#include <vector>

namespace ctl {

namespace {

constexpr std::array table = {
    Ending{".mp4", Container::mp4, std::nullopt},  Ending{".mkv", Container::matroska, std::nullopt},
    Ending{".h265", Container::none, Codec::h265}, Ending{".hevc", Container::none, Codec::h265},
    Ending{".265", Container::none, Codec::h265},  Ending{".h264", Container::none, Codec::h264},
    Ending{".264", Container::none, Codec::h264},  Ending{".bin", Container::none, std::nullopt},
    Ending{"-", Container::none, std::nullopt},
};

} // namespace

std::span<const Ending> endings() {
    return table;
}

const Ending &ending_of(const std::string &path) {
    std::vector<std::string> names;
    for (const Ending &ending : table) {
        const bool is_output = std::string("-") == ending.text;
        if (is_output ? path == ending.text : path.ends_with(ending.text)) {
            return ending;
        }
        names.emplace_back(ending.text);
    }
    throw Usage("what \"" + printable(path) + "\" shall be is not clear: its name has to end with one of " +
                joined(names, " ") + " (- is standard output)");
}

void check_codec(const Ending &ending, Codec codec, const std::string &stream) {
    if (!ending.codec || *ending.codec == codec) {
        return;
    }
    std::vector<std::string> fitting;
    for (const Ending &other : table) {
        if (!other.codec || *other.codec == codec) {
            fitting.emplace_back(other.text);
        }
    }
    throw Failure("the " + stream + " stream is " + codec_name(codec) + ", which " + ending.text +
                  " is not for; these are: " + joined(fitting, " "));
}

std::unique_ptr<Recording> open_recording(const std::string &path, const Ending &ending, Codec codec) {
    if (ending.container == Container::none) {
        return std::make_unique<ElementaryRecording>(path);
    }
    return std::make_unique<MuxedRecording>(path, ending.container, codec);
}

} // namespace ctl
