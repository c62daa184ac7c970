/*
 * Recorded files as a real decoder sees them.
 */
#ifndef TESTS_TOOLS_PROBE_H
#define TESTS_TOOLS_PROBE_H

#include <string>

namespace ctl_test {

/* "codec WIDTHxHEIGHT frames" as a decoder sees the file; what it complained of follows. */
std::string probe(const std::string &file);

/* How many frames a decoder finds in the file; -1 when it cannot read it. */
int frames_in(const std::string &file);

} // namespace ctl_test

#endif
