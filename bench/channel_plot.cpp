// The latencies of a run as an SVG: a panel for each load, in it a bar for each transport, as long as its
// median, with a line to its 99th percentile; on a logarithmic scale, the same in all panels.

#include "channel_results.h"
#include "measure.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace bench {

namespace {

constexpr double scale_from_us = 1;
constexpr double scale_to_us = 100000;
constexpr int names_width = 190;
constexpr int bars_width = 320;
constexpr int panel_width = names_width + bars_width + 30;
constexpr int bar_height = 16;
constexpr int title_height = 28;
constexpr int axis_height = 26;
constexpr int margin = 16;

constexpr const char *style =
    "text{font:12px sans-serif;fill:#222}.title{font-weight:bold}.tick{font-size:10px;fill:#666}"
    ".grid{stroke:#ddd}.tail{stroke:#222;stroke-width:1.5}"
    ".floor{fill:#9aa5b1}.strell{fill:#1f77b4}.peer{fill:#e0a458}";

class Svg {
  public:
    Svg(const std::string &file, int width, int height) : out_(std::fopen(file.c_str(), "w")) {
        if (out_ == nullptr) {
            fail(file);
        }
        std::fprintf(out_,
                     "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" "
                     "viewBox=\"0 0 %d %d\">\n<style>%s</style>\n<rect width=\"100%%\" height=\"100%%\" "
                     "fill=\"#fff\"/>\n",
                     width, height, width, height, style);
    }
    ~Svg() {
        std::fputs("</svg>\n", out_);
        std::fclose(out_);
    }
    Svg(const Svg &) = delete;
    Svg &operator=(const Svg &) = delete;

    void text(double x, double y, const char *style_class, const char *anchor, const std::string &text) {
        std::string safe;
        for (const char c : text) {
            safe += c == '<' ? "&lt;" : c == '&' ? "&amp;" : std::string(1, c);
        }
        std::fprintf(out_, "<text x=\"%.1f\" y=\"%.1f\" class=\"%s\" text-anchor=\"%s\">%s</text>\n", x, y,
                     style_class, anchor, safe.c_str());
    }
    void line(double x1, double y1, double x2, double y2, const char *style_class) {
        std::fprintf(out_, "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" class=\"%s\"/>\n", x1, y1,
                     x2, y2, style_class);
    }
    void bar(double x, double y, double width, double height, const char *style_class) {
        std::fprintf(out_, "<rect x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\" class=\"%s\"/>\n", x,
                     y, width, height, style_class);
    }

  private:
    std::FILE *out_;
};

double position(double us) {
    const double decades = std::log10(scale_to_us / scale_from_us);
    return bars_width * std::log10(std::clamp(us, scale_from_us, scale_to_us) / scale_from_us) / decades;
}

const char *style_of(const TransportKind &kind) {
    return kind.peer ? "peer" : kind.key == std::string("floor") ? "floor" : "strell";
}

std::string tick_of(double us) {
    return us < 1000 ? std::to_string(static_cast<int>(us)) + " us"
                     : std::to_string(static_cast<int>(us / 1000)) + " ms";
}

void draw(Svg *svg, const Comparison &comparison, double left, double top) {
    const double zero = left + names_width;
    const double bars_top = top + title_height;
    const double bottom = bars_top + bar_height * static_cast<double>(comparison.results.size());
    svg->text(left, top + 16, "title", "start", describe(comparison.load));
    for (double us = scale_from_us; us <= scale_to_us; us *= 10) {
        svg->line(zero + position(us), bars_top, zero + position(us), bottom, "grid");
        svg->text(zero + position(us), bottom + 14, "tick", "middle", tick_of(us));
    }
    double y = bars_top;
    for (const Result &result : comparison.results) {
        const double p50_us = result.median(&Round::latency_p50_us);
        const double middle = y + bar_height / 2.0;
        svg->text(zero - 6, middle + 4, "name", "end", result.kind.name);
        svg->bar(zero, y + 2, position(p50_us), bar_height - 4, style_of(result.kind));
        svg->line(zero + position(p50_us), middle, zero + position(result.median(&Round::latency_p99_us)),
                  middle, "tail");
        y += bar_height;
    }
}

} // namespace

void write_plot(const std::string &file, const std::vector<Comparison> &comparisons,
                const std::string &caption) {
    std::vector<Comparison> shown;
    std::copy_if(comparisons.begin(), comparisons.end(), std::back_inserter(shown),
                 [](const Comparison &one) { return one.load.rate_hz > 0; });
    if (shown.empty()) {
        return;
    }
    const int panel_height =
        title_height + axis_height + bar_height * static_cast<int>(shown.front().results.size());
    const int rows = static_cast<int>((shown.size() + 1) / 2);
    const int height = rows * panel_height + 3 * margin + 20;
    Svg svg(file, 2 * panel_width + 2 * margin, height);
    for (size_t i = 0; i < shown.size(); ++i) {
        draw(&svg, shown[i], margin + static_cast<double>(i % 2) * panel_width,
             margin + static_cast<double>(i / 2) * panel_height);
    }
    svg.text(margin, height - margin, "caption", "start",
             "Latency to the last receiver: bar to the median, line to the 99th percentile. Made by: " +
                 caption);
}

} // namespace bench
