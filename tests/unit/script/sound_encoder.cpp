// Stand-in for the A-law encoder of liboru_util: every second byte of the input, so that a test sees which
// bytes were encoded.

#include "liboru_util.h"
#include "script/script.h"

using script::current;
using script::format;

extern "C" {

int32_t oru_g711a_encode(const void *pcm, int32_t reserved, int32_t bytes, void *out) {
    current().write(format("oru_g711a_encode(%d, %d)", reserved, bytes));
    const int32_t samples = bytes / 2;
    const auto *from = static_cast<const uint8_t *>(pcm);
    auto *to = static_cast<uint8_t *>(out);
    for (int32_t i = 0; i < samples; ++i, from += 2) {
        *to++ = *from;
    }
    return samples;
}

} // extern "C"
