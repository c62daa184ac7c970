/*
 * The socket that clients connect to, and the right to be the one server on it.
 *
 * A lock file beside the socket ("mortoxd.lock") is held as long as the server lives, and the system lets go
 * of it when the server dies in whatever way. Who has it may replace a socket file that is left over. The
 * lock file itself stays, since removing it would let two servers each lock a file of their own.
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
    int lock_ = -1;
    int fd_ = -1;
};

#endif
