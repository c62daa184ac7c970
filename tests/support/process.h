/*
 * A child process of a test: started with arguments and environment, its output read line by line as it
 * comes, waited for with deadlines, and never left behind.
 */
#ifndef TESTS_SUPPORT_PROCESS_H
#define TESTS_SUPPORT_PROCESS_H

#include "support/eventually.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

namespace support {

class Process {
  public:
    using Environment = std::map<std::string, std::string>;

    /*
     * Starts argv[0] (a path, or a name looked up in PATH) with the caller's environment and `extra` on top.
     * Standard output and standard error are read together into lines(). Throws std::runtime_error when it
     * cannot start. It is killed when the thread that made it ends, in whatever way: also with a test that
     * was itself killed.
     */
    explicit Process(std::vector<std::string> argv, const Environment &extra = {});

    /* Kills the process if it still runs, and reaps it. */
    ~Process();
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    pid_t pid() const { return pid_; }

    /* True once a line containing `text` has come, counted from line number `from`; false at the deadline, or
     * when the output has ended without one. */
    bool saw(const std::string &text, std::chrono::milliseconds deadline = patience, size_t from = 0);

    /* All lines so far; how many of them contain `text`; all in one string for a failure message. */
    std::vector<std::string> lines() const;
    size_t count(const std::string &text) const;
    std::string output() const;

    void signal(int number) const;

    /* What the process has used of the processor so far. While it runs. */
    std::chrono::nanoseconds cpu_time() const;

    /* Waits for the end. The wait status (WIFEXITED and so on), or nothing when it still runs at the
     * deadline. */
    std::optional<int> wait(std::chrono::milliseconds deadline = patience);

    /* Waits for the end, and for the last of the output. The exit status, 128 + signal number when a signal
     * ended it, or -1 when it still runs. */
    int exit_code(std::chrono::milliseconds deadline = patience);

  private:
    void read_output(int fd);

    pid_t pid_ = -1;
    std::optional<int> status_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> lines_;
    bool ended_ = false;
    std::thread reader_;
};

/* Runs a command to its end: its exit code and all of its output. */
struct Outcome {
    int exit_code;
    std::string output;
};
Outcome run(std::vector<std::string> argv, const Process::Environment &extra = {},
            std::chrono::milliseconds deadline = patience);

} // namespace support

#endif
