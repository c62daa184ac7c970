#include "support/system.h"

#include "support/board_process.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace support {

namespace {

void must(bool condition, const std::string &what, const Process &process) {
    if (!condition) {
        throw std::runtime_error(what + "; its output:\n" + process.output());
    }
}

/* Ends a process as its user would, so that a sanitizer can report what it found at exit. */
void end(std::unique_ptr<Process> *process) {
    if (*process != nullptr) {
        (*process)->signal(SIGCONT);
        (*process)->signal(SIGTERM);
        (*process)->wait();
        process->reset();
    }
}

} // namespace

std::string program(const std::string &name) {
    return std::string(STRELL_BIN_DIR) + "/" + name;
}

ReceiverHandle attach(const char *path, uint32_t window) {
    const shbf_rcv_options_t options = {window, 10000};
    return ReceiverHandle(shbf_rcv_open(path, &options));
}

System::~System() {
    end(&daemon);
    end(&board);
    end(&store);
}

pid_t thread_named(pid_t pid, const std::string &name) {
    for (const auto &task : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
        std::string found;
        std::getline(std::ifstream(task.path() / "comm"), found);
        if (found == name) {
            return std::stoi(task.path().filename());
        }
    }
    return 0;
}

bool thread_sleeps(pid_t pid, const std::string &name) {
    return eventually([&] {
        const std::string task = std::to_string(thread_named(pid, name));
        std::string line;
        std::getline(std::ifstream("/proc/" + std::to_string(pid) + "/task/" + task + "/stat"), line);
        return line.find(") S ") != std::string::npos; // "123 (name) S ..."
    });
}

void System::start_empty_store() {
    seeded_ = true;
    start_store({"--memory", "nvram", "--memory", "mem"});
}

void System::start_store(const std::vector<std::string> &namespaces) {
    std::vector<std::string> command = {program("mortoxd")};
    for (const std::string &word : namespaces) {
        command.push_back(word == "nvram=FILE" ? "nvram=" + dir_.file("nvram.db") : word);
    }
    store = std::make_unique<Process>(command);
    must(store->saw("serving"), "mortoxd does not start", *store);
    if (!seeded_) {
        seeded_ = true;
        must(set("bind_status", "ok") && set("hot_config", small_profile), "settings cannot be written",
             *store);
    }
}

void System::start_board(const std::vector<std::string> &arguments) {
    std::vector<std::string> command = {program("boardd")};
    command.insert(command.end(), arguments.begin(), arguments.end());
    board = std::make_unique<Process>(command, board_environment());
    must(board->saw("ready"), "boardd does not start", *board);
}

void System::start_daemon(const Process::Environment &environment) {
    daemon = std::make_unique<Process>(std::vector<std::string>{program("strell_v2")}, environment);
}

void System::start(const std::vector<std::string> &board_arguments) {
    start_store();
    start_board(board_arguments);
    start_daemon();
    must(daemon_is_up(), "the daemon does not come up", *daemon);
    must(streams_run(), "no video comes", *daemon);
    must(has_started(), "the start-up does not come to its end", *daemon);
}

bool System::daemon_is_up() {
    return daemon->saw("start mainloop,ev_backend is");
}

bool System::has_started() {
    return daemon->saw("osd_tid is =["); // its last line before it waits for its threads
}

bool System::hold_day() {
    // What follows the end of the worker, day mode, is done before the loop looks at the next command.
    return set("night_mode", "1") && daemon->saw("[ircut_main_pthread 258] exit succ");
}

bool System::streams_run() {
    for (const char *path : {"/run/video_mainstream", "/run/video_substream"}) {
        const ReceiverHandle receiver = attach(path);
        shbf_event_t event;
        if (receiver == nullptr || shbf_rcv_next(receiver.get(), &event, 20000) != 1) {
            return false;
        }
    }
    return true;
}

bool System::set(const std::string &key, const std::string &value, const std::string &name_space) {
    mortox_t *handle = libmortox_config_open(0);
    const bool result =
        handle != nullptr && libmortox_set_value(handle, name_space.c_str(), "default", key.c_str(),
                                                 XDATA_TEXT, value.c_str(), nullptr, nullptr, -1, 0);
    libmortox_close(handle);
    return result;
}

std::optional<std::string> System::get(const std::string &key, const std::string &name_space) {
    mortox_t *handle = libmortox_config_open(0);
    std::optional<std::string> result;
    const auto take = [](xresponse_t *response, void *user) {
        xdata_t *data = nullptr;
        if (xcontrol_get_response(response, &data) == 1) {
            char *text = xdata_value_as_char(data);
            *static_cast<std::optional<std::string> *>(user) = text;
            free(text);
            xdata_free(data);
        }
    };
    if (handle != nullptr) {
        libmortox_get_value(handle, name_space.c_str(), "default", key.c_str(), take, &result, -1, 0);
    }
    libmortox_close(handle);
    return result;
}

StatisticsService::StatisticsService(const ScratchRunDir &dir)
    : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, dir.file("vuto_statistics").c_str(), sizeof address.sun_path - 1);
    if (bind(fd_, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        throw std::runtime_error("cannot bind the statistics socket");
    }
}

StatisticsService::~StatisticsService() {
    close(fd_);
}

std::vector<std::string> StatisticsService::reports() {
    char text[1000];
    ssize_t length;
    while ((length = recv(fd_, text, sizeof text, MSG_DONTWAIT)) > 0) {
        reports_.emplace_back(text, static_cast<size_t>(length));
    }
    return reports_;
}

} // namespace support
