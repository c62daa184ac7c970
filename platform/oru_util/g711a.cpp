// A-law has 16 steps in each of its segments, and each segment but the first has steps twice as wide as the
// one before. Of a magnitude its segment and the four bits below its highest one are kept.

#include "export.h"
#include "liboru_util.h"

namespace {

constexpr int32_t step_bits = 4; /* the narrowest step, in bits of a 16-bit sample */
constexpr int32_t steps = 16;    /* in a segment */
constexpr uint8_t positive = 0x80;
constexpr uint8_t even_bits = 0x55; /* inverted on the line */

uint8_t encode(int16_t sample) {
    const bool negative = sample < 0;
    int32_t steps_up = (negative ? ~sample : sample) >> step_bits;
    int32_t segment = 0;
    while (steps_up >= (segment == 0 ? steps : 2 * steps)) {
        steps_up = segment == 0 ? steps_up : steps_up >> 1;
        ++segment;
    }
    const int32_t step = segment == 0 ? steps_up : steps_up - steps;
    const auto code = static_cast<uint8_t>(segment * steps + step);
    return static_cast<uint8_t>((negative ? code : code | positive) ^ even_bits);
}

} // namespace

PLATFORM_API int32_t oru_g711a_encode(const void *pcm, int32_t /*reserved*/, int32_t bytes, void *out) {
    if (pcm == nullptr || out == nullptr || bytes < 0) {
        return 0;
    }
    const auto *in = static_cast<const uint8_t *>(pcm);
    auto *codes = static_cast<uint8_t *>(out);
    const int32_t count = bytes / 2;
    for (int32_t i = 0; i < count; ++i, in += 2) {
        const int32_t word = in[0] | in[1] << 8;
        codes[i] = encode(static_cast<int16_t>(word));
    }
    return count;
}
