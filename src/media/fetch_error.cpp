#include "media/fetch_error.h"

#include "libvuto_statistics.h"

#include <json-c/json.h>

void report_fetch_error(int32_t type) {
    json_object *object = json_object_new_object();
    if (object == nullptr) { // no memory, and nobody waits for the report
        return;
    }
    json_object_object_add(object, "type", json_object_new_int(type));
    report_stat_object("strell_v2.err", object);
}
