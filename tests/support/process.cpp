#include "support/process.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace support {

namespace {

std::vector<std::string> merged_environment(const Process::Environment &extra) {
    std::vector<std::string> result;
    for (char **entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (!extra.contains(text.substr(0, text.find('=')))) {
            result.push_back(text);
        }
    }
    for (const auto &[name, value] : extra) {
        result.push_back(name + "=" + value);
    }
    return result;
}

std::vector<char *> pointers(std::vector<std::string> &texts) {
    std::vector<char *> result;
    for (std::string &text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

} // namespace

Process::Process(std::vector<std::string> argv, const Environment &extra) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("cannot make a pipe");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    std::vector<std::string> environment = merged_environment(extra);
    const int error = posix_spawnp(&pid_, argv.at(0).c_str(), &actions, nullptr, pointers(argv).data(),
                                   pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    if (error != 0) {
        close(ends[0]);
        throw std::runtime_error("cannot start " + argv.at(0));
    }
    reader_ = std::thread([this, fd = ends[0]] { read_output(fd); });
}

Process::~Process() {
    if (!status_) {
        signal(SIGCONT);
        signal(SIGKILL);
        wait();
    }
    reader_.join();
}

void Process::read_output(int fd) {
    FILE *stream = fdopen(fd, "r");
    char *line = nullptr;
    size_t capacity = 0;
    ssize_t length = 0;
    while ((length = getline(&line, &capacity, stream)) >= 0) {
        if (length > 0 && line[length - 1] == '\n') {
            --length;
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        lines_.emplace_back(line, static_cast<size_t>(length));
        changed_.notify_all();
    }
    free(line);
    fclose(stream);
    const std::lock_guard<std::mutex> lock(mutex_);
    ended_ = true;
    changed_.notify_all();
}

bool Process::saw(const std::string &text, std::chrono::milliseconds deadline, size_t from) {
    const auto contains = [&](const std::string &line) { return line.find(text) != std::string::npos; };
    std::unique_lock<std::mutex> lock(mutex_);
    bool found = false;
    size_t next = from;
    changed_.wait_for(lock, deadline, [&] {
        for (; next < lines_.size() && !found; ++next) {
            found = contains(lines_[next]);
        }
        return found || ended_;
    });
    return found;
}

std::vector<std::string> Process::lines() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
}

size_t Process::count(const std::string &text) const {
    const std::vector<std::string> all = lines();
    return static_cast<size_t>(std::count_if(all.begin(), all.end(), [&](const std::string &line) {
        return line.find(text) != std::string::npos;
    }));
}

std::string Process::output() const {
    std::string result;
    for (const std::string &line : lines()) {
        result += line + "\n";
    }
    return result;
}

void Process::signal(int number) const {
    if (!status_) {
        kill(pid_, number);
    }
}

std::chrono::nanoseconds Process::cpu_time() const {
    clockid_t clock = 0;
    timespec used{};
    if (clock_getcpuclockid(pid_, &clock) != 0 || clock_gettime(clock, &used) != 0) {
        throw std::runtime_error("the process has gone");
    }
    return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

std::optional<int> Process::wait(std::chrono::milliseconds deadline) {
    eventually(
        [this] {
            int status = 0;
            if (!status_ && waitpid(pid_, &status, WNOHANG) == pid_) {
                status_ = status;
            }
            return status_.has_value();
        },
        deadline);
    return status_;
}

int Process::exit_code(std::chrono::milliseconds deadline) {
    const std::optional<int> status = wait(deadline);
    if (!status) {
        return -1;
    }
    return WIFEXITED(*status) ? WEXITSTATUS(*status) : 128 + WTERMSIG(*status);
}

Outcome run(std::vector<std::string> argv, const Process::Environment &extra,
            std::chrono::milliseconds deadline) {
    Process process(std::move(argv), extra);
    const int code = process.exit_code(deadline);
    process.saw("\n", patience); // never comes: waits for the end of the output
    return {code, process.output()};
}

} // namespace support
