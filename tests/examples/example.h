/*
 * What the tests of the examples share: running one to its end.
 */
#ifndef TESTS_EXAMPLES_EXAMPLE_H
#define TESTS_EXAMPLES_EXAMPLE_H

#include "support/process.h"

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace example_test {

constexpr auto patience = std::chrono::seconds(60);

/* Runs an example to its end, in the run directory of the test. */
inline support::Outcome run_example(const std::string &name, std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.begin(), std::string(STRELL_BIN_DIR) + "/example_" + name);
    return support::run(arguments, {}, patience);
}

inline std::string content(const std::string &file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline bool has(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

} // namespace example_test

#endif
