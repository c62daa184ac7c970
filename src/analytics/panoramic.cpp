#include "analytics/panoramic.h"

#include "libvuto_util.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

PanoramaConfig panorama_configs[panorama_type_count] = {
    {0, 5, motor_pan_other_way, 145, motor_pan_one_way, 75, 0.33F},
    {1, 4, motor_pan_other_way, 115, motor_pan_one_way, 77, 0.2F},
    {2, 3, motor_pan_other_way, 55, motor_pan_one_way, 55, 0.5F},
};

PanoramaPlan panorama_plan = {0, 1};

namespace {

constexpr size_t text_bytes = 64;

/* Where a move goes. */
struct Move {
    int32_t reverse;
    int32_t *direction;
    int32_t *degree;
};

void write_direction(const Move &move, int32_t direction) {
    if (move.reverse == 0) {
        *move.direction = direction;
    } else if (direction == motor_pan_one_way) {
        *move.direction = motor_pan_other_way;
    } else if (direction == motor_pan_other_way) {
        *move.direction = motor_pan_one_way;
    }
}

void write_step(char *text) {
    snprintf(text, text_bytes, "step%d", panorama_plan.step);
}

/* The motor stands at its beginning. */
bool first_step(const Move &move, int32_t *more, char *text) {
    const PanoramaConfig &config = panorama_configs[panorama_plan.type];
    write_step(text);
    write_direction(move, config.start_direction);
    *move.degree = config.start_degree;
    *more = 0;
    return true;
}

/* The motor confirms a step. False when that is not the one it was to make. */
bool step_behind(const char *reply, const Move &move, int32_t *more, char *text) {
    const PanoramaConfig &config = panorama_configs[panorama_plan.type];
    write_step(text);
    log_info("[tavra_panoram_get_next_step] : %s\n", text);
    if (strstr(reply, text) == nullptr) {
        return false;
    }
    if (panorama_plan.step != config.photo_num) {
        ++panorama_plan.step;
        write_step(text);
        write_direction(move, config.circle_direction);
        *move.degree = config.circle_degree;
    } else {
        snprintf(text, text_bytes, "end");
    }
    *more = 1;
    return true;
}

/* False when nothing follows from the reply. */
bool next_step(const char *reply, const Move &move, int32_t *more, char *text) {
    if (strstr(reply, "OK") != nullptr) {
        return strcmp(reply, "motor_reset_OK") == 0 ? first_step(move, more, text)
                                                    : step_behind(reply, move, more, text);
    }
    if (strstr(reply, "done") != nullptr) {
        snprintf(text, text_bytes, "intterupt_exit");
        panoramic_interrupt();
        return true;
    }
    return false;
}

} // namespace

void panoramic_init(int32_t type, int32_t photo_num, int32_t start_degree, int32_t start_direction,
                    int32_t circle_degree, int32_t circle_direction, float overlap_ratio) {
    log_info("type=%d, photo_num=%d, start_degree=%d, start_direction=%d, circle_degree=%d, "
             "circle_direction=%d, overlap_ratio=%f\n",
             type, photo_num, start_degree, start_direction, circle_degree, circle_direction,
             static_cast<double>(overlap_ratio));
    if (type < 0 || type >= panorama_type_count) {
        return;
    }
    PanoramaConfig *config = &panorama_configs[type];
    config->photo_num = photo_num;
    config->start_degree = start_degree;
    config->start_direction = start_direction;
    config->circle_degree = circle_degree;
    config->circle_direction = circle_direction;
    config->overlap_ratio = overlap_ratio;
}

void panoramic_interrupt(void) {
    panorama_plan = {0, 1};
}

char *tavra_panoram_get_next_step(int32_t reverse, const char *reply, int32_t *direction, int32_t *degree,
                                  int32_t *more) {
    if (reply == nullptr) {
        return nullptr;
    }
    auto *text = static_cast<char *>(malloc(text_bytes));
    if (text != nullptr && !next_step(reply, {reverse, direction, degree}, more, text)) {
        free(text);
        return nullptr;
    }
    return text;
}
