// Where the policy comes from: the file, and the names of users and groups.

#include "shbf/policy.h"

#include "libvuto_util.h"

#include <atomic>
#include <errno.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace shbf {

namespace {

constexpr char default_file[] = "/etc/strell/channels.conf";
constexpr char file_variable[] = "STRELL_CHANNELS_CONF";
constexpr char run_dir_variable[] = "STRELL_RUN_DIR";

// ---- names ----

constexpr size_t record_least = 1024;
constexpr size_t record_most = 65536; // a group with very many members

int user_record(const char *name, char *buffer, size_t size, uid_t *id) {
    passwd record;
    passwd *found = nullptr;
    const int error = getpwnam_r(name, &record, buffer, size, &found);
    if (found != nullptr) {
        *id = found->pw_uid;
    }
    return found != nullptr ? 0 : error == 0 ? -ENOENT : -error;
}

int group_record(const char *name, char *buffer, size_t size, gid_t *id) {
    group record;
    group *found = nullptr;
    const int error = getgrnam_r(name, &record, buffer, size, &found);
    if (found != nullptr) {
        *id = found->gr_gid;
    }
    return found != nullptr ? 0 : error == 0 ? -ENOENT : -error;
}

/* Calls `record` with more and more room. The manual allows these errors, too, for "no such name". */
template <typename Record>
int look_up(Record record, const char *name, uint32_t *id) {
    int result = -ERANGE;
    for (size_t size = record_least; result == -ERANGE && size <= record_most; size *= 2) {
        char *buffer = static_cast<char *>(malloc(size));
        if (buffer == nullptr) {
            return -ENOMEM;
        }
        result = record(name, buffer, size, id);
        free(buffer);
    }
    return result == -ESRCH || result == -EBADF || result == -EPERM ? -ENOENT : result;
}

int user_by_name(const char *name, uid_t *id) {
    return look_up(user_record, name, id);
}

int group_by_name(const char *name, gid_t *id) {
    return look_up(group_record, name, id);
}

// ---- the file ----

bool is_set(const char *value) {
    return value != nullptr && value[0] != '\0';
}

/* Whoever ignores a file that is there should say so, but not once for each channel. */
void tell_ignored() {
    static std::atomic<bool> told{false};
    if (access(default_file, F_OK) == 0 && !told.exchange(true)) {
        log_warning("shbf: %s does not count, for %s is set: set %s=%s where it shall\n", default_file,
                    run_dir_variable, file_variable, default_file);
    }
}

/* The file to read, or null for none; whether it may be missing. */
const char *choose_file(bool *may_be_missing) {
    const char *named = getenv(file_variable);
    *may_be_missing = named == nullptr;
    if (named != nullptr) {
        return named[0] == '\0' ? nullptr : named;
    }
    if (is_set(getenv(run_dir_variable))) {
        tell_ignored();
        return nullptr;
    }
    return default_file;
}

/* Why the open file cannot be trusted to say who may listen; null when it can. */
const char *objection(const struct stat &status) {
    if (!S_ISREG(status.st_mode)) {
        return "it is no ordinary file: put one there";
    }
    if ((status.st_mode & S_IWOTH) != 0) {
        return "anybody can write it: chmod o-w";
    }
    if (status.st_uid != 0 && status.st_uid != geteuid()) {
        return "it belongs neither to root nor to the user of this process: chown it";
    }
    return nullptr;
}

/* Up to `capacity` bytes: how many, or a negative errno value. */
ssize_t read_all(int fd, char *bytes, size_t capacity) {
    size_t length = 0;
    while (length < capacity) {
        const ssize_t count = read(fd, bytes + length, capacity - length);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return -errno;
        }
        if (count == 0) {
            break;
        }
        length += static_cast<size_t>(count);
    }
    return static_cast<ssize_t>(length);
}

int parse_open_file(int fd, const char *file, const char *channel, Policy *policy, char *problem,
                    size_t problem_size) {
    struct stat status;
    const char *wrong = fstat(fd, &status) != 0 ? strerror(errno) : objection(status);
    if (wrong != nullptr) {
        snprintf(problem, problem_size, "%s: %s", file, wrong);
        return -EINVAL;
    }
    constexpr size_t capacity = policy_file_max + 1; // one more: then the parser sees that it is too large
    char *text = static_cast<char *>(malloc(capacity));
    const ssize_t length = text == nullptr ? -ENOMEM : read_all(fd, text, capacity);
    int result = static_cast<int>(length);
    if (length < 0) {
        snprintf(problem, problem_size, "%s: cannot read it: %s", file, strerror(-result));
    } else {
        PolicyError error{};
        result =
            policy_parse(text, static_cast<size_t>(length), channel, policy_system_names(), policy, &error);
        if (result < 0 && error.line == 0) {
            snprintf(problem, problem_size, "%s: %s", file, error.text);
        } else if (result < 0) {
            snprintf(problem, problem_size, "%s:%u: %s", file, error.line, error.text);
        }
    }
    free(text);
    return result;
}

} // namespace

PolicyNames policy_system_names() {
    return {user_by_name, group_by_name};
}

int policy_load(const char *channel, Policy *policy, char *problem, size_t problem_size) {
    policy_default(policy);
    bool may_be_missing;
    const char *file = choose_file(&may_be_missing);
    if (file == nullptr) {
        return 0;
    }
    // Not blocking: a pipe in its place must not hold up the start.
    const int fd = open(file, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0 && may_be_missing && (errno == ENOENT || errno == ENOTDIR)) {
        return 0;
    }
    int result = fd < 0 ? -errno : 0;
    if (fd < 0) {
        snprintf(problem, problem_size, "%s: cannot open it: %s", file, strerror(errno));
    } else {
        result = parse_open_file(fd, file, channel, policy, problem, problem_size);
        close(fd);
    }
    if (result < 0) {
        policy_close(policy);
    }
    return result;
}

} // namespace shbf
