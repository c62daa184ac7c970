/*
 * What runs when a command of the table (commands.cpp) is given: each is in the file of its name. Result: the
 * exit code; Failure and Usage are thrown (failure.h).
 */
#ifndef STRELLCTL_ALL_COMMANDS_H
#define STRELLCTL_ALL_COMMANDS_H

#include "strellctl/command.h"

namespace ctl {

int run_status(const Arguments &arguments);
int run_access(const Arguments &arguments);
int run_watch(const Arguments &arguments);
int run_record(const Arguments &arguments);
int run_idr(const Arguments &arguments);
int run_get(const Arguments &arguments);
int run_set(const Arguments &arguments);
int run_unset(const Arguments &arguments);
int run_list(const Arguments &arguments);
int run_monitor(const Arguments &arguments);
int run_reload(const Arguments &arguments);
int run_cmd(const Arguments &arguments);
int run_snapshot(const Arguments &arguments);
int run_listen(const Arguments &arguments);
int run_talk(const Arguments &arguments);
int run_scene(const Arguments &arguments);
int run_night(const Arguments &arguments);
int run_ban(const Arguments &arguments);
int run_unban(const Arguments &arguments);
int run_events(const Arguments &arguments);
int run_motor(const Arguments &arguments);
int run_completion(const Arguments &arguments);
int run_help(const Arguments &arguments);

} // namespace ctl

#endif
