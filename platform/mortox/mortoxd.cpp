// The settings store of a development machine; mortoxd --help says how to start it.

#include "mortox/mortoxd_database.h"
#include "mortox/mortoxd_listener.h"
#include "mortox/mortoxd_options.h"
#include "mortox/mortoxd_report.h"
#include "mortox/mortoxd_server.h"

#include <csignal>
#include <cstdio>
#include <ev.h>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

void on_signal(struct ev_loop *loop, ev_signal * /*watcher*/, int /*events*/) {
    ev_break(loop, EVBREAK_ALL);
}

// Signals that would end the server where an error code serves better.
void ignore_signals() {
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN); // a file at its size limit is a failed write
}

std::vector<Namespace> open_namespaces(const Options &options) {
    std::vector<Namespace> result;
    for (const NamespaceOption &option : options.namespaces) {
        result.push_back({option.name, option.file.empty() ? Database::open_memory(option.name)
                                                           : Database::open_file(option.name, option.file)});
    }
    return result;
}

std::string names_of(const std::vector<Namespace> &namespaces) {
    std::string result;
    for (const Namespace &name_space : namespaces) {
        result += (result.empty() ? "" : ", ") + name_space.name +
                  (name_space.database.persistent() ? " (persistent)" : " (memory)");
    }
    return result;
}

void serve(const Options &options) {
    Listener listener; // first: of two servers, only one gets as far as the files
    std::vector<Namespace> namespaces = open_namespaces(options);
    const std::string served = "serving " + listener.path() + ": " + names_of(namespaces);
    struct ev_loop *loop = ev_loop_new(EVFLAG_AUTO);
    {
        const Server server(loop, listener.fd(), std::move(namespaces));
        ev_signal terminate;
        ev_signal interrupt;
        ev_signal_init(&terminate, on_signal, SIGTERM);
        ev_signal_init(&interrupt, on_signal, SIGINT);
        ev_signal_start(loop, &terminate);
        ev_signal_start(loop, &interrupt);
        report(served);
        ev_run(loop, 0);
        report("ended");
    }
    ev_loop_destroy(loop);
}

} // namespace

int main(int argc, char **argv) {
    umask(0077); // settings hold passwords of networks
    ignore_signals();
    try {
        const Options options = parse_options(argc, argv);
        if (options.help) {
            fputs(help_text(), stdout);
            return static_cast<int>(ExitCode::ended);
        }
        serve(options);
        return static_cast<int>(ExitCode::ended);
    } catch (const StartError &error) {
        report(error.what());
        return static_cast<int>(error.code());
    }
}
