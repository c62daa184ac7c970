/*
 * --help of strellctl and of each command, made from the table of commands.
 */
#ifndef STRELLCTL_HELP_H
#define STRELLCTL_HELP_H

#include "strellctl/command.h"

#include <string>

namespace ctl {

/* "strellctl watch main|sub [-t SECONDS] [--json]". */
std::string usage_line(const Command &command);

std::string command_help(const Command &command);
std::string general_help();

} // namespace ctl

#endif
