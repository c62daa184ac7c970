#include "board/boardd/elements.h"

#include <cstring>
#include <gst/gst.h>

namespace board {

namespace {

struct Element {
    const char *name;
    const char *package;
    bool always; // needed by every boardd, and not only by one kind of source
};

constexpr char base[] = "gstreamer1.0-plugins-base";
constexpr char alsa[] = "gstreamer1.0-alsa";
constexpr char pulse[] = "gstreamer1.0-pulseaudio";
constexpr char x[] = "gstreamer1.0-x";
constexpr char good[] = "gstreamer1.0-plugins-good";
constexpr char bad[] = "gstreamer1.0-plugins-bad";
constexpr char ugly[] = "gstreamer1.0-plugins-ugly";
constexpr char libav[] = "gstreamer1.0-libav";

constexpr Element elements[] = {
    {"appsrc", base, true},         {"appsink", base, true},       {"videotestsrc", base, true},
    {"textoverlay", x, true},       {"videorate", base, true},     {"videoconvertscale", base, true},
    {"decodebin", base, true},      {"uridecodebin", base, false}, {"x265enc", bad, true},
    {"h265parse", bad, true},       {"h264parse", bad, true},      {"x264enc", ugly, true},
    {"v4l2src", good, false},       {"rtspsrc", good, false},      {"qtdemux", good, false},
    {"matroskademux", good, false}, {"jpegdec", good, false},      {"avdec_h264", libav, false},
    {"avdec_h265", libav, false},   {"audioconvert", base, true},  {"audioresample", base, true},
    {"alsasrc", alsa, false},       {"alsasink", alsa, false},     {"pulsesrc", pulse, false},
    {"pulsesink", pulse, false},    {"autoaudiosrc", good, false}, {"autoaudiosink", good, false},
    {"wavparse", good, false},
};

bool installed(const char *name) {
    GstElementFactory *factory = gst_element_factory_find(name);
    if (factory == nullptr) {
        return false;
    }
    gst_object_unref(factory);
    return true;
}

} // namespace

std::string missing_elements() {
    std::string missing;
    std::string packages;
    for (const Element &element : elements) {
        if (element.always && !installed(element.name)) {
            missing += missing.empty() ? element.name : std::string(", ") + element.name;
            if (packages.find(element.package) == std::string::npos) {
                packages += std::string(" ") + element.package;
            }
        }
    }
    return missing.empty() ? "" : "GStreamer has no " + missing + "; apt-get install" + packages;
}

std::string package_advice(const std::string &element) {
    for (const Element &entry : elements) {
        if (element == entry.name) {
            return std::string("; apt-get install ") + entry.package;
        }
    }
    return "";
}

} // namespace board
