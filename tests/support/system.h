/*
 * A whole camera for one black-box test: settings store, software board and daemon as processes in a private
 * run directory. Each can be started, killed and restarted alone.
 */
#ifndef TESTS_SUPPORT_SYSTEM_H
#define TESTS_SUPPORT_SYSTEM_H

#include "libmortox.h"
#include "libshbf_receiver.h"
#include "support/process.h"
#include "support/scratch.h"
#include "support/socket_names.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace support {

/* Small pictures, so that many systems fit on a small machine: both streams 640x360, main H.265, sub H.264.
 */
constexpr const char *small_profile =
    R"({"id":0,"icon":0,"cch":0,"pt":[1,0],"bps":[0,0],"fps":[15,15],"res":[2,2]})";

class System {
  public:
    System() = default;
    ~System();

    /* The store, with what a bound camera with the small profile has in it; or as it was left, on a second
     * call. */
    void start_store(const std::vector<std::string> &namespaces = {"--persistent", "nvram=FILE", "--memory",
                                                                   "mem"});
    /* The store with nothing in it, in memory. */
    void start_empty_store();
    void start_board(const std::vector<std::string> &arguments = {});
    void start_daemon(const Process::Environment &environment = {});
    /* All three, and waits until both streams bring frames and the main thread has started everything. */
    void start(const std::vector<std::string> &board_arguments = {});

    /* Waits until the daemon's loop runs. */
    bool daemon_is_up();
    /* Waits until the main thread has nothing more to start. */
    bool has_started();
    /*
     * Ends the worker that switches by the light, in day mode. It begins with day, some time after the main
     * thread has started everything: until then it may undo what a command has said about day and night.
     */
    bool hold_day();
    /* Waits until a frame comes on both video channels. */
    bool streams_run();

    /* Writes one setting, in a connection of its own; reads one. */
    static bool set(const std::string &key, const std::string &value,
                    const std::string &name_space = "nvram");
    static std::optional<std::string> get(const std::string &key, const std::string &name_space = "nvram");

    const ScratchRunDir &dir() const { return dir_; }
    OwnSocketNames socket_names_; // before anything is started
    ScratchRunDir dir_;
    std::unique_ptr<Process> store;
    std::unique_ptr<Process> board;
    std::unique_ptr<Process> daemon;

  private:
    bool seeded_ = false;
};

/* A blocking receiver that is closed at the end of its scope. */
struct ReceiverCloser {
    void operator()(shbf_rcv_t *receiver) const { shbf_rcv_close(receiver); }
};
using ReceiverHandle = std::unique_ptr<shbf_rcv_t, ReceiverCloser>;
ReceiverHandle attach(const char *path, uint32_t window = 0);

/* The thread of a process that has this name; 0 when there is none. */
pid_t thread_named(pid_t pid, const std::string &name);

/* Waits until that thread exists and sleeps. */
bool thread_sleeps(pid_t pid, const std::string &name);

/* The path of a program of this build. */
std::string program(const std::string &name);

/* A datagram socket in place of the statistics service: the reports that came so far. */
class StatisticsService {
  public:
    explicit StatisticsService(const ScratchRunDir &dir);
    ~StatisticsService();
    StatisticsService(const StatisticsService &) = delete;
    StatisticsService &operator=(const StatisticsService &) = delete;
    std::vector<std::string> reports();

  private:
    int fd_;
    std::vector<std::string> reports_;
};

} // namespace support

#endif
