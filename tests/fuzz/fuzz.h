/*
 * What the fuzzers share. Each has one function that libFuzzer calls with invented input (./dev fuzz), and
 * that replay.cpp calls with the inputs in corpus/ (./dev test). What must hold is said by `must`; the
 * sanitizers say the rest.
 */
#ifndef TESTS_FUZZ_FUZZ_H
#define TESTS_FUZZ_FUZZ_H

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t length);

namespace fuzz {

inline void must(bool holds, const char *what) {
    if (!holds) {
        std::fprintf(stderr, "fuzz: not so: %s (errno, if it is of use: %s)\n", what, std::strerror(errno));
        std::abort();
    }
}

/* Reads the input as a script; behind its end everything is 0. */
class Script {
  public:
    Script(const uint8_t *bytes, size_t length) : bytes_(bytes), left_(length) {}
    bool done() const { return left_ == 0; }
    uint8_t byte() {
        uint8_t value = 0;
        read(&value, sizeof value);
        return value;
    }
    uint16_t half() {
        uint16_t value = 0;
        read(&value, sizeof value);
        return value;
    }
    uint32_t word() {
        uint32_t value = 0;
        read(&value, sizeof value);
        return value;
    }
    void read(void *to, size_t length) {
        const size_t taken = length < left_ ? length : left_;
        if (length > 0) {
            std::memset(to, 0, length);
        }
        if (taken > 0) {
            std::memcpy(to, bytes_, taken);
            bytes_ += taken;
            left_ -= taken;
        }
    }

  private:
    const uint8_t *bytes_;
    size_t left_;
};

} // namespace fuzz

#endif
