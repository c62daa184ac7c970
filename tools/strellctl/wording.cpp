#include "strellctl/wording.h"

#include <cstdarg>
#include <cstdio>

namespace ctl {

std::string format(const char *pattern, ...) {
    va_list arguments;
    va_start(arguments, pattern);
    // The analyser loses sight of va_start when it is given several files.
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    const int length = std::vsnprintf(nullptr, 0, pattern, arguments);
    va_end(arguments);
    std::string text(static_cast<size_t>(length) + 1, '\0');
    va_start(arguments, pattern);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    std::vsnprintf(text.data(), text.size(), pattern, arguments);
    va_end(arguments);
    text.pop_back();
    return text;
}

std::string bytes_text(uint64_t bytes) {
    if (bytes < 1000) {
        return format("%d B", static_cast<int>(bytes));
    }
    static constexpr const char *units[] = {"KB", "MB", "GB", "TB"};
    double value = static_cast<double>(bytes) / 1e3;
    size_t unit = 0;
    while (value >= 999.95 && unit + 1 < std::size(units)) {
        value /= 1e3;
        ++unit;
    }
    return format("%.1f %s", value, units[unit]);
}

std::string bitrate_text(double bits_per_s) {
    if (bits_per_s < 999.5) {
        return format("%.0f bit/s", bits_per_s);
    }
    if (bits_per_s < 999.5e3) {
        return format("%.0f kbit/s", bits_per_s / 1e3);
    }
    return format("%.2f Mbit/s", bits_per_s / 1e6);
}

std::string count_text(uint64_t count, const char *noun) {
    return format("%llu %s%s", static_cast<unsigned long long>(count), noun, count == 1 ? "" : "s");
}

std::string printable(const std::string &text) {
    std::string result;
    for (const char letter : text) {
        const auto code = static_cast<unsigned char>(letter);
        // Bytes from 0x80 on are parts of UTF-8 letters; alone they command no terminal that expects UTF-8.
        result += code < 0x20 || code == 0x7f ? format("\\x%02x", code) : std::string(1, letter);
    }
    return result;
}

} // namespace ctl
