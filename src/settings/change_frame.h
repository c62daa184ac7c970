/*
 * What the handlers of changed settings have in common, whatever the setting means: parse the notification,
 * log what has changed, act on the text, give everything back.
 *
 * hot_status is not among them: it takes notifications that these do not.
 */
#ifndef SETTINGS_CHANGE_FRAME_H
#define SETTINGS_CHANGE_FRAME_H

#include "libmortox.h"

/* What is special about one handler. Texts end with their NUL and are valid during the call. */
struct SettingChange {
    const char *handler; // its name in the log
    void (*say)(const char *handler, const char *value);
    void (*apply)(const char *value);
    void (*apply_no_value)(); // when the key was removed; null: nothing happens
};

/*
 * Handles one notification. One that does not parse is logged and dropped; a key without a value is named in
 * the log, without `say`. Loop thread.
 */
void handle_setting_change(xresponse_t *response, const SettingChange &change);

#endif
