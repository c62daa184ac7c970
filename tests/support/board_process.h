/*
 * A boardd of a test, in the test's own run directory (scratch.h), ready to serve.
 */
#ifndef TESTS_SUPPORT_BOARD_PROCESS_H
#define TESTS_SUPPORT_BOARD_PROCESS_H

#include "support/process.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace support {

/*
 * Whether a boardd that runs under AddressSanitizer looks for leaks when it ends. That needs the whole stack
 * of each allocation, to tell ours from those of libraries, and makes everything some ten times slower.
 */
enum class Leaks { not_sought, sought };

/* What boardd needs to run under a sanitizer: GStreamer and the encoders are not built with one. At its end
 * the thread sanitizer waits a second for races, as a rule: a tenth of it must do. */
inline Process::Environment board_environment(Leaks leaks = Leaks::not_sought) {
    const std::string tests = STRELL_TESTS_DIR;
    return {{"ASAN_OPTIONS",
             leaks == Leaks::sought ? "fast_unwind_on_malloc=0" : "detect_leaks=0:quarantine_size_mb=8"},
            {"LSAN_OPTIONS", "print_suppressions=0:suppressions=" + tests + "/lsan.supp"},
            {"TSAN_OPTIONS",
             "atexit_sleep_ms=100:ignore_noninstrumented_modules=1:suppressions=" + tests + "/tsan.supp"},
            {"G_SLICE", "always-malloc"}};
}

class BoardProcess : public Process {
  public:
    /* Starts boardd with `options` and waits until it serves. Throws std::runtime_error when it does not. */
    explicit BoardProcess(const std::vector<std::string> &options = {}, Leaks leaks = Leaks::not_sought)
        : Process(command(options), board_environment(leaks)) {
        if (!saw("boardd: ready")) {
            throw std::runtime_error("boardd does not start: " + output());
        }
    }

    static std::vector<std::string> command(const std::vector<std::string> &options) {
        std::vector<std::string> argv = {STRELL_BIN_DIR "/boardd"};
        argv.insert(argv.end(), options.begin(), options.end());
        return argv;
    }
};

} // namespace support

#endif
