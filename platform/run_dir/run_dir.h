/*
 * Where "/run" is, and sockets in it.
 *
 * All of the camera's sockets have fixed names under /run. So that tests and unprivileged users can have
 * systems of their own side by side, the environment variable STRELL_RUN_DIR, when set, takes the place of
 * "/run" in each of them. Used by every library and server of the development platform; there is no other
 * such knob.
 *
 * Threads: any. Results: negative errno values for failure.
 */
#ifndef PLATFORM_RUN_DIR_H
#define PLATFORM_RUN_DIR_H

#include <stdint.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>

/*
 * Fills a socket address for a path that begins with "/run/". Reads the environment, never changes it.
 * Result: the address length for bind and connect; -EINVAL for another kind of path; -ENAMETOOLONG when the
 * path does not fit into a socket address (107 bytes).
 */
int run_dir_address(const char *path, sockaddr_un *address);

/* Who may connect to a listening socket, as its file's mode and group say it. */
struct RunDirAccess {
    int32_t mode; // permission bits, 0200 among them; -1: what the umask leaves of 0777
    gid_t group;  // (gid_t)-1: as the directory or the process has it
};
constexpr RunDirAccess run_dir_access_by_umask = {-1, static_cast<gid_t>(-1)};

/*
 * Opens a listening socket of `type` (SOCK_STREAM, SOCK_SEQPACKET) at `path`: non-blocking, close-on-exec. A
 * socket file that a crashed process left there is replaced; two processes that start at the same moment
 * cannot take the path from each other: the directory is locked (flock) while one looks. For that lock the
 * call waits, but not for long (200 ms). Nobody can connect before the socket has the mode and group of
 * `access`, and its file is never more open than that. Who connects cannot hand over descriptors, from Linux
 * 6.16 on.
 *
 * Result: the descriptor; -EADDRINUSE when a living process serves the path; -EEXIST when something that is
 * no socket stands there (it is left alone); -EBUSY when somebody keeps the directory locked; -EPERM when
 * mode or group could not be given (nothing is left behind); another negative errno value when the directory
 * is missing and so on.
 */
int run_dir_listen(const char *path, int type, int backlog,
                   const RunDirAccess &access = run_dir_access_by_umask);

/*
 * What a result of run_dir_listen means and what to do about it, for people: the end of a sentence that names
 * the path. A constant, or what strerror says.
 */
const char *run_dir_listen_problem(int error);

/*
 * Connects a new socket of `type` to `path`: close-on-exec, blocking. Waits for room in the server's backlog
 * up to `timeout_ms`. Result: the descriptor; -ENOENT or -ECONNREFUSED when nobody serves the path;
 * -ETIMEDOUT.
 */
int run_dir_connect(const char *path, int type, int timeout_ms);

#endif
