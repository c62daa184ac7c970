/*
 * strellctl as a test runs it: as a process in the test's run directory, with its output in lines and its
 * JSON parsed.
 */
#ifndef TESTS_TOOLS_CTL_H
#define TESTS_TOOLS_CTL_H

#include "support/board_process.h"
#include "support/process.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

struct json_object;

namespace ctl_test {

using Words = std::vector<std::string>;

/* Runs "strellctl WORDS" to its end. Standard output and standard error come together. A search for leaks
 * makes it several times slower, which tests of something else can do without. */
support::Outcome run_ctl(const Words &words, support::Leaks leaks = support::Leaks::sought);

/* Starts it, to be talked to while it runs. */
std::unique_ptr<support::Process> start_ctl(const Words &words);

/* Runs a line of bash, in which $CTL is strellctl, in directory `dir`. */
support::Outcome run_shell(const std::string &line, const std::string &dir);

/* A JSON object of one line. */
class Json {
  public:
    /* Anything but a JSON object is a failure of the test, and has no members. */
    explicit Json(const std::string &line);

    /* Members by their path, "channels.main.pid"; null members and missing ones are told apart by has(). */
    bool has(const std::string &path) const;
    bool is_null(const std::string &path) const;
    int64_t number(const std::string &path) const;
    double real(const std::string &path) const;
    bool truth(const std::string &path) const;
    std::string text(const std::string &path) const;

  private:
    bool find(const std::string &path, json_object **value) const;

    std::shared_ptr<json_object> root_;
};

/* The lines of an output that are JSON objects. */
std::vector<Json> objects(const std::vector<std::string> &lines);
std::vector<Json> objects(const std::string &output);

/* True when there is none but line ends. */
bool has_no_control_characters(const std::string &output);

} // namespace ctl_test

#endif
