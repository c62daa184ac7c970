/*
 * Children of channel_stress: forked, never executed, so they begin with what the driver knows.
 *
 * One thread: the driver's, which has no other, so a child may do anything.
 */
#ifndef STRESS_CHILD_H
#define STRESS_CHILD_H

#include <functional>
#include <sys/types.h>

namespace stress {

/* In a process group of its own or in that of the driver. */
enum class Group { own, same };

/*
 * Starts a child that runs `body` and exits with what it returns. It is killed when the driver ends. Ends the
 * program when the system has no room for another process.
 */
pid_t start_child(Group group, const std::function<int()> &body);

/* Has the child ended? Reaps it then; *status is as waitpid has it. */
bool has_ended(pid_t pid, int *status);

/* Waits for its end. False when it still runs after a long time. */
bool await_end(pid_t pid, int *status);

} // namespace stress

#endif
