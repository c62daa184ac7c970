/*
 * Standard output and standard error: what was printed is out when the call returns.
 *
 * Results go to standard output, everything else to standard error as "strellctl: ...". A write that fails is
 * not overlooked: it throws OutputClosed when the reader has gone, and Failure for anything else.
 *
 * Threads: one at a time.
 */
#ifndef STRELLCTL_OUTPUT_H
#define STRELLCTL_OUTPUT_H

#include <string>

namespace ctl {

/* Prints to standard output as it is; the second adds a line end. */
void print(const std::string &text);
void print_line(const std::string &text);

/* Says something beside the result, on standard error; never throws. */
void notice(const std::string &text);

/* Whether a person looks at the descriptor. */
bool is_terminal(int fd);

/* How many letters fit in a line of the terminal; 80 when it does not say. */
size_t terminal_columns(int fd);

} // namespace ctl

#endif
