/*
 * The socket that clients connect to; who has it is the one server.
 *
 * A socket file that a dead server has left is replaced, and of servers that start at the same moment one
 * gets it (run_dir.h). Threads: one.
 */
#ifndef MORTOX_MORTOXD_LISTENER_H
#define MORTOX_MORTOXD_LISTENER_H

#include <string>

class Listener {
  public:
    /* Throws StartError: another server is alive, or the socket cannot be made. */
    Listener();

    /* Removes the socket file. */
    ~Listener();
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    /* Non-blocking; belongs to the listener. */
    int fd() const { return fd_; }
    const std::string &path() const { return path_; }

  private:
    std::string path_;
    int fd_ = -1;
};

#endif
