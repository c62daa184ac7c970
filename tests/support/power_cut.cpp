// To be preloaded into a server: keeps a copy of what a power cut would leave. What fsync and fdatasync have
// been called for is kept, all else is lost: contents per inode ($POWER_CUT_DIR/inode-N), and, when a
// directory is synced, which inode stands under which name ($POWER_CUT_DIR/names, lines "N name"). What is
// kept is replaced whole: it may be read at any moment.

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

struct Path {
    char text[4096];
};

Path kept_path(const char *name, const char *suffix) {
    Path path;
    const char *directory = getenv("POWER_CUT_DIR");
    snprintf(path.text, sizeof path.text, "%s/%s%s", directory == nullptr ? "." : directory, name, suffix);
    return path;
}

FILE *open_kept(const char *name) {
    return fopen(kept_path(name, ".new").text, "we");
}

void close_kept(FILE *kept, const char *name) {
    fclose(kept);
    rename(kept_path(name, ".new").text, kept_path(name, "").text);
}

void keep_contents(int fd, ino_t inode) {
    char name[64];
    snprintf(name, sizeof name, "inode-%lu", static_cast<unsigned long>(inode));
    FILE *kept = open_kept(name);
    char block[4096];
    ssize_t bytes = 0;
    for (off_t at = 0; (bytes = pread(fd, block, sizeof block, at)) > 0; at += bytes) {
        fwrite(block, 1, static_cast<size_t>(bytes), kept);
    }
    close_kept(kept, name);
}

void keep_names(int fd) {
    FILE *kept = open_kept("names");
    DIR *directory = fdopendir(openat(fd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    while (const dirent *entry = readdir(directory)) {
        if (entry->d_type == DT_REG) {
            fprintf(kept, "%lu %s\n", static_cast<unsigned long>(entry->d_ino), entry->d_name);
        }
    }
    closedir(directory);
    close_kept(kept, "names");
}

void keep(int fd) {
    struct stat status = {};
    fstat(fd, &status);
    if (S_ISREG(status.st_mode)) {
        keep_contents(fd, status.st_ino);
    } else if (S_ISDIR(status.st_mode)) {
        keep_names(fd);
    }
}

} // namespace

extern "C" __attribute__((visibility("default"))) int fsync(int fd) {
    keep(fd);
    return static_cast<int>(syscall(SYS_fsync, fd));
}

extern "C" __attribute__((visibility("default"))) int fdatasync(int fildes) {
    keep(fildes);
    return static_cast<int>(syscall(SYS_fdatasync, fildes));
}
