#include "mortox/mortoxd_listener.h"

#include "mortox/mortoxd_report.h"
#include "mortox/wire.h"
#include "run_dir/run_dir.h"

#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int waiting_connections_max = 64;

[[noreturn]] void cannot_serve(const std::string &path, int error) {
    if (error == -EADDRINUSE) {
        throw StartError(ExitCode::already_served,
                         "another mortoxd is alive and serves " + path +
                             ": end it first, or set STRELL_RUN_DIR for a store of your own");
    }
    throw StartError(ExitCode::cannot_serve, "cannot serve " + path + ": " + run_dir_listen_problem(error));
}

} // namespace

Listener::Listener() {
    sockaddr_un address;
    const int length = run_dir_address(wire::socket_path, &address);
    path_ = length < 0 ? wire::socket_path : address.sun_path;
    fd_ = run_dir_listen(wire::socket_path, SOCK_SEQPACKET, waiting_connections_max);
    if (fd_ < 0) {
        cannot_serve(path_, fd_);
    }
}

Listener::~Listener() {
    unlink(path_.c_str());
    close(fd_);
}
