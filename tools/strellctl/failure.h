/*
 * How a command of strellctl ends other than well. Thrown anywhere, caught once, in main.cpp.
 *
 * Each text is one sentence for a person: what is wrong, and what to do about it. main.cpp puts
 * "strellctl: " in front.
 */
#ifndef STRELLCTL_FAILURE_H
#define STRELLCTL_FAILURE_H

#include <stdexcept>

namespace ctl {

constexpr int exit_good = 0;
constexpr int exit_failed = 1; // it was tried and did not work
constexpr int exit_usage = 2;  // the command line makes no sense; nothing was tried

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/* What is being written cannot take any more: it is not to be completed either. */
struct WriteFailure : Failure {
    using Failure::Failure;
};

struct Usage : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/* Whoever read our output has gone (strellctl watch main | head): nothing is left to say. */
struct OutputClosed {};

} // namespace ctl

#endif
