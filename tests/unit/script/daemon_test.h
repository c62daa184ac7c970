/*
 * The fixture of the daemon's unit tests: a new script, and the daemon's process-wide state as at its start.
 * Behind every test stands the question what became of the memory: values and pairs of the settings store,
 * and shared buffers, must each have been given back exactly once. The copies of texts that
 * xdata_value_as_char makes are not counted here: they are plain memory, which the leak sanitizer looks
 * after.
 */
#ifndef TESTS_UNIT_DAEMON_TEST_H
#define TESTS_UNIT_DAEMON_TEST_H

#include "script/script.h"

#include <gtest/gtest.h>
#include <initializer_list>

class DaemonTest : public testing::Test {
  protected:
    DaemonTest();
    ~DaemonTest() override;

    script::Script &script = script::current();

    using Entries = std::vector<std::string>;

    /*
     * The journal, for comparing it whole. The level of those log lines that may have any is written as
     * "log", as in "log: Get faild.\n".
     */
    Entries journal() const;

    /* The same, without the entries that begin with one of `prefixes`. */
    Entries journal_without(const std::vector<std::string> &prefixes) const;

    /* Several pieces of a journal, one behind the other. */
    static Entries joined(std::initializer_list<Entries> pieces);

    /* Runs `body`; the status that it gave to exit(), or -1000 when it came back. */
    template <typename Body>
    static int exit_status_of(Body body) {
        try {
            body();
        } catch (const script::Exited &exited) {
            return exited.status;
        }
        return -1000;
    }
};

/* The daemon's main function, under another name. */
int strell_main(int argc, char **argv);

#endif
