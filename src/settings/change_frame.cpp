#include "settings/change_frame.h"

#include "libvuto_util.h"

#include <stdlib.h>

void handle_setting_change(xresponse_t *response, const SettingChange &change) {
    int32_t status = -1;
    NotifyPair *pair = static_cast<NotifyPair *>(xresponse_parse(response, &status));
    if (status != 0) {
        log_err("%s(),Parse recv notify value error.\n", change.handler);
        return;
    }
    log_info("Notify: %s:%s:%s", pair->key->name_space, pair->key->section, pair->key->key);
    char *value = xdata_value_as_char(pair->value);
    if (value != nullptr) {
        change.say(change.handler, value);
        change.apply(value);
        free(value);
    } else if (change.apply_no_value != nullptr) {
        change.apply_no_value();
    }
    xpair_free(pair, 0);
}
