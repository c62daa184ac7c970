/*
 * The command line of mortoxd: which namespaces there are and where each is kept.
 */
#ifndef MORTOX_MORTOXD_OPTIONS_H
#define MORTOX_MORTOXD_OPTIONS_H

#include <string>
#include <vector>

struct NamespaceOption {
    std::string name;
    std::string file; // empty: in memory only
};

struct Options {
    bool help = false;
    std::vector<NamespaceOption> namespaces; // in the order of the command line, names all different
};

/* Throws StartError (ExitCode::usage). */
Options parse_options(int argc, char **argv);

/* The text of --help. */
const char *help_text();

#endif
