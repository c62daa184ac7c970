#include "child.h"

#include "scoreboard.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace stress {

pid_t start_child(Group group, const std::function<int()> &body) {
    fflush(nullptr);
    const pid_t driver = getpid();
    const pid_t pid = fork();
    if (pid < 0) {
        perror("channel_stress: fork");
        exit(2);
    }
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (group == Group::own) {
            setpgid(0, 0);
        }
        exit(getppid() == driver ? body() : 1);
    }
    if (group == Group::own) {
        setpgid(pid, pid); // whoever comes first
    }
    return pid;
}

bool has_ended(pid_t pid, int *status) {
    return waitpid(pid, status, WNOHANG) == pid;
}

bool await_end(pid_t pid, int *status) {
    return eventually([&] { return has_ended(pid, status); });
}

} // namespace stress
