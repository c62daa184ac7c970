#include "camera.h"

#include "libmortox.h"
#include "measure.h"

#include <csignal>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>

namespace bench {

namespace {

std::string contents(const std::string &path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string end_of(const std::string &text) {
    constexpr size_t shown_bytes = 2000;
    return text.size() < shown_bytes ? text : text.substr(text.size() - shown_bytes);
}

/* The command, with all that it writes in a file. */
std::vector<std::string> logged(std::vector<std::string> argv, const std::string &log) {
    std::vector<std::string> result = {"/bin/sh", "-c", "log=$1; shift; exec \"$@\" >\"$log\" 2>&1", "sh",
                                       log};
    result.insert(result.end(), argv.begin(), argv.end());
    return result;
}

} // namespace

std::string program(const std::string &name) {
    return std::string(STRELL_BIN_DIR) + "/" + name;
}

std::string library(const std::string &name) {
    return std::string(STRELL_LIB_DIR) + "/" + name;
}

void set_setting(const char *key, const char *value) {
    mortox_t *store = libmortox_config_open(0);
    if (store == nullptr) {
        fail("settings store");
    }
    if (!libmortox_set_value(store, "nvram", "default", key, XDATA_TEXT, value, nullptr, nullptr, -1, 0)) {
        throw std::runtime_error(libmortox_last_error(store));
    }
    libmortox_close(store);
}

Camera::~Camera() {
    while (!children_.empty()) {
        const support::Process &process = *children_.back().process;
        process.signal(SIGTERM);
        children_.back().process->wait();
        close(children_.back().log);
        children_.pop_back();
    }
}

void Camera::start_store(Keeps keeps, const char *profile) {
    std::vector<std::string> argv = {program("mortoxd"), "--memory", "mem"};
    if (keeps == Keeps::on_disk) {
        argv.insert(argv.end(), {"--persistent", "nvram=" + file("nvram.db")});
    } else {
        argv.insert(argv.end(), {"--memory", "nvram"});
    }
    start("store", argv, "serving");
    set_setting("bind_status", "ok");
    if (profile != default_profile) {
        set_setting("hot_config", profile);
    }
}

void Camera::start_board() {
    start("board", {program("boardd")}, "ready");
}

void Camera::start_daemon(const support::Process::Environment &environment) {
    start("daemon", {program("strell_v2")}, "start mainloop", environment);
}

void Camera::start(const std::string &name, std::vector<std::string> argv, const std::string &ready,
                   const support::Process::Environment &environment) {
    const int log_fd = memfd_create(name.c_str(), MFD_CLOEXEC);
    const std::string log = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(log_fd);
    children_.push_back(
        {name, log_fd, std::make_unique<support::Process>(logged(std::move(argv), log), environment)});
    support::Process &process = *children_.back().process;
    bool ended = false;
    const bool up = support::eventually([&] {
        ended = process.wait(std::chrono::milliseconds(0)).has_value();
        return ended || contents(log).find(ready) != std::string::npos;
    });
    if (!up || ended) {
        throw std::runtime_error(name + " does not start: " + end_of(contents(log)));
    }
}

pid_t Camera::pid(const std::string &name) const {
    for (const Child &child : children_) {
        if (child.name == name) {
            return child.process->pid();
        }
    }
    throw std::runtime_error("there is no process " + name);
}

} // namespace bench
