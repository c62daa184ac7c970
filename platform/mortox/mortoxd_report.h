/*
 * What mortoxd says to the person who runs it: lines on standard error that begin with "mortoxd: ", and its
 * exit status.
 */
#ifndef MORTOX_MORTOXD_REPORT_H
#define MORTOX_MORTOXD_REPORT_H

#include <stdexcept>
#include <string>

enum class ExitCode : int {
    ended = 0,          // by SIGTERM or SIGINT, or --help
    cannot_serve = 1,   // the socket cannot be made
    usage = 2,          // the command line
    already_served = 3, // another mortoxd is alive
    no_database = 4     // a database file cannot be used
};

/* Why the server does not start. The sentence says what is wrong and what to do. */
class StartError : public std::runtime_error {
  public:
    StartError(ExitCode code, const std::string &sentence) : std::runtime_error(sentence), code_(code) {}
    ExitCode code() const { return code_; }

  private:
    ExitCode code_;
};

/* One line, written at once, so that the lines of several processes do not mix. Keeps errno. */
void report(const std::string &sentence);

#endif
