#include "support/process.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <stdexcept>
#include <sys/prctl.h>
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

/* The child's side: becomes the program, or says why not. Only what is allowed between fork and exec. */
[[noreturn]] void become(char *const *argv, char *const *environment, pid_t parent, int output, int failure) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int input = open("/dev/null", O_RDONLY);
    if (getppid() == parent && input >= 0 && dup2(input, STDIN_FILENO) >= 0 &&
        dup2(output, STDOUT_FILENO) >= 0 && dup2(output, STDERR_FILENO) >= 0) {
        if (input != STDIN_FILENO) {
            close(input);
        }
        execvpe(argv[0], argv, environment);
    }
    [[maybe_unused]] const ssize_t written = write(failure, &errno, sizeof errno);
    _exit(127);
}

/* The pipe's reading end: its writing end lives in the child alone, and says nothing when that has become the
 * program. */
bool has_failed(int failure) {
    int error = 0;
    return read(failure, &error, sizeof error) > 0;
}

} // namespace

Process::Process(std::vector<std::string> argv, const Environment &extra) {
    int output[2];
    int failure[2];
    if (pipe2(output, O_CLOEXEC) != 0 || pipe2(failure, O_CLOEXEC) != 0) {
        throw std::runtime_error("cannot make a pipe");
    }
    std::vector<std::string> environment = merged_environment(extra);
    const std::vector<char *> argv_pointers = pointers(argv);
    const std::vector<char *> environment_pointers = pointers(environment);
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ == 0) {
        become(argv_pointers.data(), environment_pointers.data(), parent, output[1], failure[1]);
    }
    close(output[1]);
    close(failure[1]);
    const bool failed = pid_ < 0 || has_failed(failure[0]);
    close(failure[0]);
    if (failed) {
        close(output[0]);
        if (pid_ > 0) {
            waitpid(pid_, nullptr, 0);
        }
        throw std::runtime_error("cannot start " + argv.at(0));
    }
    reader_ = std::thread([this, fd = output[0]] { read_output(fd); });
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
    // What it said last is still on its way; a child that it left behind may hold the pipe for longer.
    constexpr auto last_words = std::chrono::seconds(2);
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, last_words, [this] { return ended_; });
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
