#include "content.h"

#include <cstring>

namespace stress {

namespace {

uint64_t mixed_with(uint64_t value, uint64_t more) {
    value = (value ^ more) * 0xff51afd7ed558ccdU;
    return value ^ value >> 32;
}

/* A change of any byte of the head changes the whole pattern. */
uint64_t seed_of(const Head &head) {
    uint64_t words[sizeof(Head) / sizeof(uint64_t)];
    static_assert(sizeof words == sizeof head);
    memcpy(words, &head, sizeof words);
    uint64_t seed = 1;
    for (const uint64_t word : words) {
        seed = mixed_with(seed, word);
    }
    return seed;
}

/* Calls `with(offset, length, word)` for each word behind the head; the last may be cut short. */
template <typename With>
bool over_pattern(const Head &head, size_t size, With with) {
    uint64_t word = seed_of(head);
    for (size_t offset = sizeof head; offset < size; offset += sizeof word) {
        word = word * 0x5851f42d4c957f2dU + 0x14057b7ef767814fU;
        if (!with(offset, size - offset < sizeof word ? size - offset : sizeof word, word)) {
            return false;
        }
    }
    return true;
}

} // namespace

void fill(void *bytes, const Head &head) {
    auto *target = static_cast<uint8_t *>(bytes);
    memcpy(target, &head, sizeof head);
    over_pattern(head, head.size, [target](size_t offset, size_t length, uint64_t word) {
        memcpy(target + offset, &word, length);
        return true;
    });
}

bool whole(const void *bytes, size_t size, Head *head) {
    if (size < content_least) {
        return false;
    }
    const auto *source = static_cast<const uint8_t *>(bytes);
    memcpy(head, source, sizeof *head);
    return head->size == size &&
           over_pattern(*head, size, [source](size_t offset, size_t length, uint64_t word) {
               return memcmp(source + offset, &word, length) == 0;
           });
}

} // namespace stress
