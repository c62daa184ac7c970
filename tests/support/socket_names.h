/*
 * Abstract socket names, and System V keys, of a test's own.
 *
 * The command socket has an abstract name, and the tracking mailbox a key. Such names are in no directory, so
 * a private run directory (scratch.h) does not keep two tests apart that both run a daemon, or its stand-in.
 * What does is a network and a System V namespace for each: every process that the test starts is in it too.
 */
#ifndef TESTS_SUPPORT_SOCKET_NAMES_H
#define TESTS_SUPPORT_SOCKET_NAMES_H

#include <memory>

namespace support {

/*
 * Moves the calling thread, and so all threads and processes that it starts from now on, into namespaces
 * that nobody else is in. Once for a process; further objects find it done. To be made before the
 * test starts anything, as the first member of its fixture: who runs as an ordinary user can move only while
 * there is no other thread.
 *
 * Where that is not allowed (containers, some kernels, the thread sanitizer's own thread) tests run one at a
 * time instead: the object waits until no other process has one. Throws std::runtime_error when
 * that takes over ten minutes.
 *
 * In the namespace there is no network, 127.0.0.1 included.
 */
class OwnSocketNames {
  public:
    OwnSocketNames();

    /* Whether names are the test's own; else it is alone for the time being. */
    bool in_namespace() const { return turn_ == nullptr; }

  private:
    std::shared_ptr<const int> turn_; // shared by all objects of the process
};

/* The second way by itself: a name that only one can have at a time on the machine, until the descriptor is
 * closed; or -1 while somebody else has it. */
int take_turn();

} // namespace support

#endif
