#include "bench/motion_stage.h"

#include <cmath>
#include <cstdio>
#include <numbers>
#include <opencv2/imgproc.hpp>

namespace bench {

namespace {

using board::detect_height;
using board::detect_width;

constexpr int margin = 160;
constexpr double black = 16;
constexpr double white = 235;

/* From 0 to 1 and on, soft at both ends. */
double ramp(double elapsed, double length) {
    const double part = std::clamp(elapsed / length, 0.0, 1.0);
    return 0.5 - 0.5 * std::cos(part * std::numbers::pi);
}

/* Surfaces with light falling off across them, their texture, and things with edges. */
cv::Mat make_scene(cv::RNG *random) {
    cv::Mat scene(detect_height + margin, detect_width + 2 * margin, CV_32F);
    const double across = random->uniform(-0.1, 0.1);
    for (int y = 0; y < scene.rows; ++y) {
        for (int x = 0; x < scene.cols; ++x) {
            scene.at<float>(y, x) = static_cast<float>(95 + across * (x - scene.cols / 2) + 0.1 * y);
        }
    }
    for (int i = 0; i < 60; ++i) {
        const cv::Point corner(random->uniform(0, scene.cols), random->uniform(0, scene.rows));
        const cv::Size size(random->uniform(10, 90), random->uniform(10, 90));
        scene(cv::Rect(corner, size) & cv::Rect(0, 0, scene.cols, scene.rows)) +=
            random->uniform(-40.0, 40.0);
    }
    cv::Mat texture(scene.size(), CV_32F);
    random->fill(texture, cv::RNG::NORMAL, 0, 25);
    cv::GaussianBlur(texture, texture, cv::Size(0, 0), 1.5);
    scene += texture;
    cv::GaussianBlur(scene, scene, cv::Size(3, 3), 0);
    return scene;
}

void light_cone(cv::Mat *picture, double gain) {
    const double radius = 90;
    for (int y = 0; y < picture->rows; ++y) {
        for (int x = 0; x < picture->cols; ++x) {
            const double distance = std::hypot(x - 190, y - 100) / radius;
            const double light = 1 + gain * std::exp(-distance * distance);
            auto &pixel = picture->at<float>(y, x);
            pixel = static_cast<float>(black + (pixel - black) * light);
        }
    }
}

void roll_bands(cv::Mat *picture, double phase) {
    for (int y = 0; y < picture->rows; ++y) {
        const double angle = 2 * std::numbers::pi * (3.0 * y / picture->rows + phase);
        picture->row(y) *= 1 + 0.15 * std::sin(angle);
    }
}

void write_clock(cv::Mat *picture, double elapsed_s) {
    char text[32];
    std::snprintf(text, sizeof text, "2026-11-21 07:16:%02d", static_cast<int>(elapsed_s) % 60);
    cv::putText(*picture, text, cv::Point(4, 12), cv::FONT_HERSHEY_PLAIN, 0.7, cv::Scalar(white));
}

} // namespace

const char *name_of(Act act) {
    constexpr const char *names[] = {"quiet", "thing",     "light step", "light fade", "lamp",
                                     "flash", "tone",      "night",      "noise",      "bands",
                                     "clock", "rectangle", "flip",       "view turns", "put down"};
    return names[static_cast<size_t>(act)];
}

Stage::Stage(uint32_t seed, double noise) : random_(seed + 1), noise_(noise), wide_(make_scene(&random_)) {
    skin_.create(200, 100, CV_32F);
    random_.fill(skin_, cv::RNG::NORMAL, 0, 0.6);
    cv::GaussianBlur(skin_, skin_, cv::Size(0, 0), 3);
}

cv::Mat Stage::scene_at(double x, double y) const {
    const int column = std::clamp(margin + static_cast<int>(std::lround(x)), 0, wide_.cols - detect_width);
    const int row = std::clamp(static_cast<int>(std::lround(y)), 0, wide_.rows - detect_height);
    return wide_(cv::Rect(column, row, detect_width, detect_height)).clone();
}

/* An upright ellipse with texture. */
void Stage::put_thing(cv::Mat *picture, const Thing &thing, double x, double y) const {
    cv::Mat mask(picture->size(), CV_8U, cv::Scalar(0));
    const cv::Size axes(static_cast<int>(thing.size / 4), static_cast<int>(thing.size / 2));
    const cv::Point middle(static_cast<int>(std::lround(x)), static_cast<int>(std::lround(y)));
    cv::ellipse(mask, middle, axes, 0, 0, 360, cv::Scalar(255), cv::FILLED);
    const cv::Rect whole(middle.x - axes.width, middle.y - axes.height, 2 * axes.width, 2 * axes.height);
    const cv::Rect place = whole & cv::Rect(0, 0, picture->cols, picture->rows);
    if (place.empty()) {
        return;
    }
    const cv::Mat skin = skin_(cv::Rect(place.tl() - whole.tl(), place.size()) & cv::Rect(0, 0, 100, 200));
    cv::Mat looks = skin * 15 + (110 + thing.contrast);
    looks.copyTo((*picture)(cv::Rect(place.tl(), looks.size())), mask(cv::Rect(place.tl(), looks.size())));
}

void Stage::add_noise(cv::Mat *picture, double sigma) {
    cv::Mat noise(picture->size(), CV_32F);
    random_.fill(noise, cv::RNG::NORMAL, 0, sigma);
    *picture += noise;
}

cv::Mat Stage::next(Act act, double elapsed_s, double length_s, double strength, const Thing &thing) {
    time_us_ += board::detect_interval_us;
    const bool ends = elapsed_s + frame_s >= length_s;
    if (act == Act::pan) {
        pan_ = std::clamp(pan_ + strength * 12, -140.0, 140.0);
    }
    if (act == Act::flip && elapsed_s == 0) {
        flipped_ = !flipped_;
    }
    if (act == Act::put_down) {
        put_x_ = 160;
    }
    double gain = gain_;
    double noise = noise_;
    double gamma = 1;
    if (act == Act::light_step || act == Act::light_fade) {
        const double to = std::pow(2.0, strength);
        gain = act == Act::light_step ? to : gain_ + (to - gain_) * ramp(elapsed_s, length_s);
        gain_ = ends ? gain : gain_;
    } else if (act == Act::tone) {
        gamma = 0.55;
    } else if (act == Act::night) {
        gain = 0.35;
        noise = noise_ * 2;
    } else if (act == Act::noise) {
        noise = noise_ * (1 + 1.5 * std::abs(strength));
    } else if (act == Act::flash) {
        gain = elapsed_s == 0 ? 1.6 : gain_;
    }
    cv::Mat picture = scene_at(pan_, margin / 2.0);
    put_thing(&picture, thing, put_x_, thing.y);
    if (act == Act::thing) {
        const double path =
            std::abs(thing.speed) * elapsed_s + (thing.from >= 0 ? thing.from : -thing.size / 2);
        put_thing(&picture, thing, thing.speed > 0 ? path : detect_width - path, thing.y);
    }
    cv::Mat light = cv::max((picture - black) / (white - black), 0.0);
    if (gamma != 1) {
        cv::pow(light, gamma, light);
    }
    picture = light * gain * (white - black) + black;
    if (act == Act::lamp) {
        light_cone(&picture, strength * std::min(1.0, elapsed_s / 0.6));
    } else if (act == Act::bands) {
        roll_bands(&picture, elapsed_s * 1.4);
    }
    add_noise(&picture, noise);
    if (flipped_) {
        cv::flip(picture, picture, 0);
    }
    if (act == Act::clock) {
        write_clock(&picture, elapsed_s);
    } else if (act == Act::rectangle) {
        const int x = 60 + static_cast<int>(elapsed_s * 30);
        cv::rectangle(picture, cv::Rect(x, 60, 80, 48), cv::Scalar(210), 1);
    }
    cv::Mat result;
    cv::Mat(cv::min(cv::max(picture, black), white)).convertTo(result, CV_8U);
    return result;
}

} // namespace bench
