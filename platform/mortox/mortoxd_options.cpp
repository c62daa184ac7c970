#include "mortox/mortoxd_options.h"

#include "mortox/mortoxd_report.h"
#include "mortox/wire.h"

#include <algorithm>
#include <getopt.h>

namespace {

[[noreturn]] void wrong_usage(const std::string &sentence) {
    throw StartError(ExitCode::usage, sentence + " (see mortoxd --help)");
}

void add_namespace(Options &options, NamespaceOption added) {
    char error[200];
    if (!wire::check_name("the namespace", added.name.c_str(), error, sizeof error)) {
        wrong_usage(error);
    }
    const auto same = [&](const NamespaceOption &other) { return other.name == added.name; };
    if (std::ranges::any_of(options.namespaces, same)) {
        wrong_usage("the namespace " + added.name + " is given twice");
    }
    options.namespaces.push_back(std::move(added));
}

NamespaceOption parse_persistent(const std::string &text) {
    const size_t equals = text.find('=');
    if (equals == std::string::npos || equals + 1 == text.size()) {
        wrong_usage("--persistent takes NAME=FILE, not \"" + text + "\"");
    }
    return {text.substr(0, equals), text.substr(equals + 1)};
}

} // namespace

Options parse_options(int argc, char **argv) {
    static const option known[] = {{"persistent", required_argument, nullptr, 'p'},
                                   {"memory", required_argument, nullptr, 'm'},
                                   {"help", no_argument, nullptr, 'h'},
                                   {nullptr, 0, nullptr, 0}};
    Options options;
    opterr = 0;
    for (int letter = 0; (letter = getopt_long(argc, argv, "+:", known, nullptr)) != -1;) {
        if (letter == 'p') {
            add_namespace(options, parse_persistent(optarg));
        } else if (letter == 'm') {
            add_namespace(options, {optarg, ""});
        } else if (letter == 'h') {
            options.help = true;
        } else {
            const std::string given = argv[optind - 1];
            wrong_usage(letter == ':' ? given + " needs a value" : "there is no option " + given);
        }
    }
    if (optind < argc) {
        wrong_usage(std::string("there is nothing to be done with \"") + argv[optind] + "\"");
    }
    if (options.namespaces.empty() && !options.help) {
        wrong_usage("there is no namespace to serve: give --persistent NAME=FILE or --memory NAME");
    }
    return options;
}

const char *help_text() {
    return "usage: mortoxd [--persistent NAME=FILE]... [--memory NAME]...\n"
           "\n"
           "Serves the camera's settings on the Unix socket /run/mortoxd until SIGTERM or SIGINT.\n"
           "\n"
           "  --persistent NAME=FILE  a namespace that is kept in FILE, an SQLite database, which is made\n"
           "                          when it does not exist. A write is on the disk before it is "
           "confirmed.\n"
           "  --memory NAME           a namespace that ends with the server\n"
           "  --help                  this text\n"
           "\n"
           "Each option may be given several times. The camera has\n"
           "    mortoxd --persistent nvram=FILE --memory mem\n"
           "\n"
           "environment: STRELL_RUN_DIR  the directory that takes the place of /run\n"
           "\n"
           "exit status: 0 ended by a signal   1 the socket cannot be made   2 wrong usage\n"
           "             3 another mortoxd serves already   4 a FILE cannot be used (it is left as it is)\n";
}
