// Stand-ins for files: the storage card, which is a directory of the test's own or is not there, and streams,
// which are the real ones, journalled. What is left open is closed behind the test.

#include "script/script.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

using script::current;
using script::format;

extern "C" {
int __real_open(const char *path, int flags, mode_t mode);
ssize_t __real_write(int fd, const void *bytes, size_t size);
int __real_close(int fd);
FILE *__real_fopen(const char *path, const char *mode);
int __real_fclose(FILE *file);
size_t __real_fread(void *bytes, size_t size, size_t count, FILE *file);
}

namespace {

constexpr char card_path[] = "/mnt/sdcard/";

bool is_on_card(const char *path) {
    return script::running() && std::strncmp(path, card_path, sizeof card_path - 1) == 0;
}

bool is_known(FILE *file) {
    return script::running() && current().open_files.count(file) > 0;
}

} // namespace

namespace script {

void card_file_closes(int fd) {
    if (running() && current().card_files.count(fd) > 0) {
        const std::string name = current().card_files.at(fd);
        current().card_files.erase(fd);
        current().write("close(" + name + ")");
    }
}

void Script::close_files() {
    for (const auto &[fd, name] : card_files) {
        __real_close(fd);
    }
    for (FILE *file : open_files) {
        __real_fclose(file);
    }
}

} // namespace script

extern "C" {

int __wrap_open(const char *path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    if (!is_on_card(path)) {
        return __real_open(path, flags, mode);
    }
    script::Script &script = current();
    script.write(format("open(%s, %#x, %#o)", path, static_cast<unsigned>(flags), mode));
    if (script.card.empty()) {
        errno = ENOENT;
        return -1;
    }
    const std::string name = path + sizeof card_path - 1;
    const int fd = __real_open((script.card + "/" + name).c_str(), flags, mode);
    if (fd >= 0) {
        script.card_files[fd] = name;
    }
    return fd;
}

ssize_t __wrap_write(int fd, const void *bytes, size_t size) {
    if (!script::running() || current().card_files.count(fd) == 0) {
        return __real_write(fd, bytes, size);
    }
    script::Script &script = current();
    script.write(format("write(%s, %zu)", script.card_files.at(fd).c_str(), size));
    const auto taken = std::min(static_cast<int64_t>(size), script.card_room_bytes);
    if (taken == 0 && size > 0) {
        errno = ENOSPC;
        return -1;
    }
    script.card_room_bytes -= taken;
    return __real_write(fd, bytes, static_cast<size_t>(taken));
}

FILE *__wrap_fopen(const char *path, const char *mode) {
    FILE *file = __real_fopen(path, mode);
    if (script::running()) {
        const int error = errno; // as it is for the caller
        current().write(format("fopen(%s, %s)", path, mode));
        if (file != nullptr) {
            current().open_files.insert(file);
        }
        errno = error;
    }
    return file;
}

int __wrap_fclose(FILE *file) {
    if (is_known(file)) {
        current().open_files.erase(file);
        current().write("fclose()");
    }
    return __real_fclose(file);
}

size_t __wrap_fread(void *bytes, size_t size, size_t count, FILE *file) {
    if (!is_known(file)) {
        return __real_fread(bytes, size, count, file);
    }
    const size_t result = __real_fread(bytes, size, std::min(count, current().read_most_bytes), file);
    current().write(format("fread(%zu, %zu) = %zu", size, count, result));
    return result;
}

} // extern "C"
