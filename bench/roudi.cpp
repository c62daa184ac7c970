#include "measure.h"
#include "transport.h"

#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

RouDi::RouDi(const std::string &config) : pid_(fork()) {
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        const int null = open("/dev/null", O_RDWR);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        if (config.empty()) {
            execlp("iox-roudi", "iox-roudi", "-l", "error", nullptr);
        } else {
            execlp("iox-roudi", "iox-roudi", "-l", "error", "-c", config.c_str(), nullptr);
        }
        _exit(127);
    }
    if (pid_ < 0) {
        fail("fork");
    }
}

RouDi::~RouDi() {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
}

std::unique_ptr<RouDi> roudi_for(const std::vector<TransportKind> &kinds, const std::string &config) {
    for (const TransportKind &kind : kinds) {
        if (kind.key == std::string("iceoryx")) {
            return std::make_unique<RouDi>(config);
        }
    }
    return nullptr;
}

} // namespace bench
