/*
 * A whole camera for one benchmark, in a run directory and with a command socket of its own: store, board,
 * daemon, and what else is measured beside them, as processes. They log to files in memory, so that what they
 * say wakes nobody and waits for no disk.
 *
 * Threads: one, which has to live as long as the processes shall. What cannot be started throws
 * std::runtime_error, with the end of its log.
 */
#ifndef BENCH_CAMERA_H
#define BENCH_CAMERA_H

#include "support/process.h"
#include "support/scratch.h"
#include "support/socket_names.h"

#include <memory>
#include <string>
#include <vector>

namespace bench {

/* Both streams 640x360, main H.265, sub H.264: leaves the machine to what is measured. */
constexpr const char *small_profile =
    R"({"id":0,"icon":0,"cch":0,"pt":[1,0],"bps":[0,0],"fps":[15,15],"res":[2,2]})";
constexpr const char *default_profile = nullptr;

enum class Keeps { in_memory, on_disk };

class Camera {
  public:
    Camera() = default;
    ~Camera(); /* ends the processes, the last one first */
    Camera(const Camera &) = delete;
    Camera &operator=(const Camera &) = delete;

    /* The store of a camera that is bound to an owner. */
    void start_store(Keeps keeps, const char *profile);
    void start_board();
    void start_daemon(const support::Process::Environment &environment = {});

    /* Starts argv[0], a path, and waits until its log has a line with `ready`. */
    void start(const std::string &name, std::vector<std::string> argv, const std::string &ready,
               const support::Process::Environment &environment = {});

    /* The process that was started under this name: store, board, daemon, or what was given. */
    pid_t pid(const std::string &name) const;

    std::string file(const std::string &name) const { return directory_.file(name); }

  private:
    struct Child {
        std::string name;
        int log; // a file in memory
        std::unique_ptr<support::Process> process;
    };
    support::OwnSocketNames socket_names_; // before anything is started
    support::ScratchRunDir directory_;
    std::vector<Child> children_;
};

/* The path of a program or a library of this build. */
std::string program(const std::string &name);
std::string library(const std::string &name);

/* Writes a setting in namespace nvram, or fails. */
void set_setting(const char *key, const char *value);

} // namespace bench

#endif
