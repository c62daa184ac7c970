/*
 * The time of day, for lines that say when something came. Any thread.
 */
#ifndef STRELLCTL_WALL_CLOCK_H
#define STRELLCTL_WALL_CLOCK_H

#include <string>

namespace ctl {

/* Now, in local time: "2026-11-21 07:16:15.042". */
std::string wall_clock_text();

} // namespace ctl

#endif
