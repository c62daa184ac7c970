#include "bench/motion_score.h"

namespace bench {

namespace {

constexpr double quiet_s = 4;

void rest(Stage *stage, board::MotionDetector *detector, double seconds, bool *told) {
    for (double t = 0; t < seconds; t += frame_s) {
        const cv::Mat picture = stage->next(Act::quiet, t, seconds, 0);
        *told = detector->see(picture, stage->time_us(), 0).has_value() || *told;
    }
}

/* How long a thing takes to cross the picture. */
double crossing_s(const Thing &thing) {
    return (board::detect_width + thing.size) / std::abs(thing.speed);
}

Thing drawn_thing(cv::RNG *random) {
    Thing thing;
    thing.size = random->uniform(28.0, 110.0);
    thing.speed = random->uniform(20.0, 120.0) * (random->uniform(0, 2) == 0 ? -1 : 1);
    thing.contrast = random->uniform(25.0, 70.0) * (random->uniform(0, 2) == 0 ? -1 : 1);
    thing.y = random->uniform(40.0, 150.0);
    return thing;
}

} // namespace

bool play(Stage *stage, board::MotionDetector *detector, Act act, double length_s, double strength,
          const Thing &thing, double *delay_s) {
    bool told = false;
    for (double t = 0; t < length_s; t += frame_s) {
        const cv::Mat picture = stage->next(act, t, length_s, strength, thing);
        const bool motion = detector->see(picture, stage->time_us(), 0).has_value();
        if (motion && !told && delay_s != nullptr) {
            *delay_s = t + frame_s;
        }
        told = told || motion;
    }
    // What an act leaves behind counts against it; of a thing nothing is left.
    bool afterwards = false;
    rest(stage, detector, quiet_s, &afterwards);
    return told || (act != Act::thing && afterwards);
}

Score run_script(uint32_t seed, int32_t rounds, const board::Sensitivity &sensitivity) {
    Stage stage(seed);
    cv::RNG random(seed + 1000);
    board::MotionDetector detector;
    detector.set(sensitivity);
    bool ignored = false;
    rest(&stage, &detector, 10, &ignored);
    Score score;
    for (int32_t round = 0; round < rounds; ++round) {
        for (const Act act : acts_that_are_no_events) {
            const double strength = random.uniform(0.4, 1.0) * (round % 2 == 0 ? 1 : -1);
            const double length_s = act == Act::light_fade ? random.uniform(1.0, 4.0) : 3;
            ActScore &one = score.of[act];
            ++one.acts;
            one.told += play(&stage, &detector, act, length_s, strength, Thing(), nullptr) ? 1 : 0;
            const Thing thing = drawn_thing(&random);
            ActScore &things = score.of[Act::thing];
            ++things.acts;
            double delay_s = 0;
            if (play(&stage, &detector, Act::thing, crossing_s(thing), 0, thing, &delay_s)) {
                ++things.told;
                score.delays_s.push_back(delay_s);
            }
        }
    }
    score.seconds = static_cast<double>(stage.time_us()) / 1e6;
    return score;
}

double slowest_s(int32_t count) {
    Stage stage(5);
    board::MotionDetector detector;
    bool ignored = false;
    rest(&stage, &detector, 10, &ignored);
    cv::RNG random(99);
    double slowest = 0;
    for (int32_t i = 0; i < count; ++i) {
        Thing thing = drawn_thing(&random);
        thing.from = random.uniform(60.0, 200.0);
        double delay_s = -1;
        play(&stage, &detector, Act::thing, 2, 0, thing, &delay_s);
        slowest = delay_s < 0 || slowest < 0 ? -1 : std::max(slowest, delay_s - frame_s);
    }
    return slowest;
}

double share_seen(const board::Sensitivity &sensitivity, const Thing &kind, int32_t count) {
    Stage stage(7);
    board::MotionDetector detector;
    detector.set(sensitivity);
    bool ignored = false;
    rest(&stage, &detector, 10, &ignored);
    int32_t seen = 0;
    for (int32_t i = 0; i < count; ++i) {
        Thing thing = kind;
        thing.y = 40 + 110.0 * i / count;
        seen += play(&stage, &detector, Act::thing, crossing_s(thing), 0, thing, nullptr) ? 1 : 0;
    }
    return static_cast<double>(seen) / count;
}

int32_t false_alarms(uint32_t seed, double noise, double seconds) {
    Stage stage(seed, noise);
    board::MotionDetector detector;
    int32_t alarms = 0;
    for (double t = 0; t < seconds; t += frame_s) {
        const cv::Mat picture = stage.next(Act::quiet, t, seconds, 0);
        alarms += detector.see(picture, stage.time_us(), 0).has_value() ? 1 : 0;
    }
    return alarms;
}

} // namespace bench
