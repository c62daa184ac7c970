/*
 * A mortoxd of a test's own: it serves the run directory that STRELL_RUN_DIR names, with the camera's two
 * namespaces unless the test wants others. Its database lives in the run directory too.
 */
#ifndef TESTS_SUPPORT_SETTINGS_STORE_H
#define TESTS_SUPPORT_SETTINGS_STORE_H

#include "support/process.h"
#include "support/scratch.h"

#include <csignal>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace support {

class SettingsStore {
  public:
    using Arguments = std::vector<std::string>;

    /* Does not start it yet. */
    explicit SettingsStore(const ScratchRunDir &run_dir)
        : database_(run_dir.file("nvram.db")), socket_(run_dir.file("mortoxd")),
          arguments_({"--persistent", "nvram=" + database_, "--memory", "mem"}) {}

    void set_arguments(Arguments arguments) { arguments_ = std::move(arguments); }
    void set_environment(Process::Environment environment) { environment_ = std::move(environment); }

    /* Starts it, again if need be, and waits until it serves; throws std::runtime_error when it does not. */
    void start() {
        launch();
        if (!process_->saw("mortoxd: serving ")) {
            throw std::runtime_error("mortoxd does not serve:\n" + process_->output());
        }
    }

    /* Starts it without waiting. */
    void launch() {
        process_.reset();
        std::vector<std::string> command = {std::string(STRELL_BIN_DIR) + "/mortoxd"};
        command.insert(command.end(), arguments_.begin(), arguments_.end());
        process_ = std::make_unique<Process>(command, environment_);
    }

    /* Power off: it has no chance to tidy up. */
    void kill() {
        process_->signal(SIGKILL);
        process_->wait();
    }

    /* The exit code of an orderly end. */
    int end() {
        process_->signal(SIGTERM);
        return process_->exit_code();
    }

    Process &process() { return *process_; }
    const std::string &database() const { return database_; }
    const std::string &socket() const { return socket_; }

  private:
    std::string database_;
    std::string socket_;
    Arguments arguments_;
    Process::Environment environment_;
    std::unique_ptr<Process> process_;
};

} // namespace support

#endif
