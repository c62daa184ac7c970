// strellctl scene: the world before the software board's camera.

#include "board/boardctl.h"
#include "strellctl/all_commands.h"
#include "strellctl/failure.h"
#include "strellctl/output.h"
#include "strellctl/scene_text.h"
#include "strellctl/wording.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <optional>

namespace ctl {

namespace {

constexpr double most_lux = board::scene_mlux_max / 1000.0;
constexpr double least_seconds = board::scene_period_min_ms / 1000.0;
constexpr double most_seconds = board::scene_period_max_ms / 1000.0;
constexpr double most_pan = board::view_pan_max / 100.0;
constexpr double most_tilt = board::view_tilt_max / 100.0;

double number(const std::string &text, double least, double most, const char *what) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !(value >= least && value <= most)) {
        throw Usage(format("\"%s\" is no %s from %g to %g", printable(text).c_str(), what, least, most));
    }
    return value;
}

uint32_t thousandths(double value) {
    return static_cast<uint32_t>(std::lround(value * 1000));
}

int32_t hundredths(double value) {
    return static_cast<int32_t>(std::lround(value * 100));
}

uint32_t lux(const std::string &text) {
    return thousandths(number(text, 0, most_lux, "number of lux"));
}

uint32_t period(const std::string &text) {
    return thousandths(number(text, least_seconds, most_seconds, "number of seconds"));
}

using Words = std::vector<std::string>;

/* What is to be done once the board is there; values have been judged by then. */
using Action = std::function<void(board::BoardCtl &ctl)>;

Action show(const Arguments & /*arguments*/) {
    return [](board::BoardCtl &ctl) { print(scene_text(ctl.scene())); };
}

Action set_sky(const board::SceneLightRecord &sky) {
    return [sky](board::BoardCtl &ctl) { ctl.set_sky(sky); };
}

Action set_brightness(const Arguments &arguments) {
    return set_sky({board::scene_constant, lux(arguments.word(1)), 0, 0});
}

Action set_ramp(const Arguments &arguments) {
    return set_sky({board::scene_ramp, lux(arguments.word(1)), 0, period(arguments.word(2))});
}

Action set_cycle(const Arguments &arguments) {
    const Words &words = arguments.words();
    if (words.size() == 3) {
        throw Usage("a cycle has two levels, or none for 1000 and 0.1 lux");
    }
    const bool given = words.size() == 4;
    const uint32_t high = lux(given ? words[2] : "1000");
    const uint32_t low = lux(given ? words[3] : "0.1");
    if (low > high) {
        throw Usage("the first level of a cycle is the higher one");
    }
    return set_sky({board::scene_cycle, high, low, period(words[1])});
}

Action set_noise(const Arguments &arguments) {
    const auto percent = static_cast<int32_t>(std::lround(number(arguments.word(1), 0, 100, "percentage")));
    return [percent](board::BoardCtl &ctl) { ctl.set_sky_noise(percent); };
}

/* What is given of an object. */
struct ObjectChange {
    int32_t on;
    std::optional<int32_t> path, speed, size, pan, tilt, span;
};

std::optional<int32_t> path_of(const Arguments &arguments) {
    if (!arguments.has("--path")) {
        return std::nullopt;
    }
    const std::string text = arguments.value("--path", "");
    if (text != "swing" && text != "round") {
        throw Usage("--path takes swing or round, not \"" + printable(text) + "\"");
    }
    return text == "swing" ? board::path_swing : board::path_round;
}

std::optional<int32_t> angle_of(const Arguments &arguments, const char *option, double least, double most) {
    if (!arguments.has(option)) {
        return std::nullopt;
    }
    return hundredths(number(arguments.value(option, ""), least, most, "number of degrees"));
}

/* What is not given stays as it is; a swing has no direction, a path round the camera no span. */
board::SceneObjectRecord changed(board::SceneObjectRecord object, const ObjectChange &change) {
    object.on = change.on;
    object.path = change.path.value_or(object.path);
    object.speed = change.speed.value_or(object.speed);
    object.size = change.size.value_or(object.size);
    object.pan = change.pan.value_or(object.pan);
    object.tilt = change.tilt.value_or(object.tilt);
    object.span = change.span.value_or(object.span);
    if (object.path == board::path_swing) {
        object.speed = std::abs(object.speed);
    } else {
        object.span = 0;
    }
    return object;
}

Action set_object(const Arguments &arguments) {
    const std::string &on = arguments.word(1);
    if (on != "on" && on != "off") {
        throw Usage("an object is on or off, not \"" + printable(on) + "\"");
    }
    const ObjectChange change = {on == "on" ? 1 : 0,
                                 path_of(arguments),
                                 angle_of(arguments, "--speed", -360, 360),
                                 angle_of(arguments, "--size", 1, 40),
                                 angle_of(arguments, "--pan", -180, 180),
                                 angle_of(arguments, "--tilt", -60, 60),
                                 angle_of(arguments, "--span", 0, 360)};
    return [change](board::BoardCtl &ctl) { ctl.set_object(changed(ctl.scene().object, change)); };
}

Action burst(const Arguments &arguments) {
    const Words &words = arguments.words();
    const double level_db =
        number(words.size() > 1 ? words[1] : "-10", board::burst_level_min_db, 0, "level in dB");
    const double ms = number(words.size() > 2 ? words[2] : "500", 1, board::burst_duration_max_ms,
                             "number of milliseconds");
    const board::BurstRecord noise = {static_cast<int32_t>(std::lround(level_db)),
                                      static_cast<uint32_t>(std::lround(ms))};
    return [noise](board::BoardCtl &ctl) { ctl.burst(noise); };
}

Action look(const Arguments &arguments) {
    const board::ViewRecord view = {hundredths(number(arguments.word(1), -most_pan, most_pan, "pan")),
                                    hundredths(number(arguments.word(2), -most_tilt, most_tilt, "tilt"))};
    return [view](board::BoardCtl &ctl) { ctl.move_view_to(view); };
}

struct Subject {
    const char *name;
    size_t least_words; // with the name
    size_t most_words;
    Action (*action)(const Arguments &arguments);
};

constexpr Subject subjects[] = {
    {"show", 1, 1, show},       {"brightness", 2, 2, set_brightness},
    {"ramp", 3, 3, set_ramp},   {"cycle", 2, 4, set_cycle},
    {"noise", 2, 2, set_noise}, {"object", 2, 2, set_object},
    {"burst", 1, 3, burst},     {"view", 3, 3, look},
};

const Subject &subject_of(const Words &words) {
    const std::string name = words.empty() ? "show" : words[0];
    const size_t count = words.empty() ? 1 : words.size();
    for (const Subject &subject : subjects) {
        if (name == subject.name) {
            if (count < subject.least_words || count > subject.most_words) {
                throw Usage("scene " + name + " takes other values (strellctl scene --help)");
            }
            return subject;
        }
    }
    throw Usage("a scene has no " + printable(name));
}

} // namespace

std::vector<std::string> scene_subjects() {
    std::vector<std::string> names;
    for (const Subject &subject : subjects) {
        names.emplace_back(subject.name);
    }
    return names;
}

int run_scene(const Arguments &arguments) {
    const Subject &subject = subject_of(arguments.words());
    if (arguments.has_options() && subject.action != set_object) {
        throw Usage("options are for scene object only");
    }
    const Action action = subject.action(arguments);
    board::BoardCtl ctl;
    action(ctl);
    return exit_good;
}

} // namespace ctl
