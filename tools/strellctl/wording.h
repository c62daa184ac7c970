/*
 * Numbers as people read them. Pure functions, any thread.
 */
#ifndef STRELLCTL_WORDING_H
#define STRELLCTL_WORDING_H

#include <cstdint>
#include <string>

namespace ctl {

/* As printf has it. */
[[gnu::format(printf, 1, 2)]] std::string format(const char *pattern, ...);

/* "512 B", "12.3 KB", "1.6 MB": powers of 1000. */
std::string bytes_text(uint64_t bytes);

/* "940 bit/s", "256 kbit/s", "1.38 Mbit/s". */
std::string bitrate_text(double bits_per_s);

/* "3 frames", "1 frame". */
std::string count_text(uint64_t count, const char *noun);

/* The text with control characters spelled out ("\x1b"), so that nothing that another process wrote can
 * command the terminal. */
std::string printable(const std::string &text);

/* "main" and "main, sub" and so on. */
template <typename Container>
std::string joined(const Container &words, const char *separator = ", ") {
    std::string result;
    for (const auto &word : words) {
        result += (result.empty() ? "" : separator) + std::string(word);
    }
    return result;
}

} // namespace ctl

#endif
