#include "self_check.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <string>

namespace stress {

namespace {

constexpr uint64_t settle_ns = 10'000'000'000;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool memory_is_ours = false; // the sanitizer keeps what is freed; it looks for leaks itself
#else
constexpr bool memory_is_ours = true;
#endif
constexpr uint64_t heap_growth_kb = 48;
constexpr uint64_t anonymous_growth_kb = 512;

/* Those of arenas and bells do not count: a channel has them from its first buffer on. */
uint64_t descriptors_but_arenas() {
    uint64_t count = 0;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const std::string target = std::filesystem::read_symlink(entry.path(), gone).string();
        count += !gone && target.find("shbf-arena") == std::string::npos &&
                         target.find("shbf-bell") == std::string::npos
                     ? 1U
                     : 0U;
    }
    return count;
}

uint64_t link_pages() {
    std::ifstream maps("/proc/self/maps");
    uint64_t count = 0;
    for (std::string line; std::getline(maps, line);) {
        count += line.find("shbf-link") != std::string::npos ? 1U : 0U;
    }
    return count;
}

/* Heap and stacks, as the system counts them; what is shared with receivers is none of it. */
uint64_t anonymous_kb() {
    std::ifstream rollup("/proc/self/smaps_rollup");
    for (std::string word; rollup >> word;) {
        if (word == "Anonymous:") {
            uint64_t kb = 0;
            rollup >> kb;
            return kb;
        }
    }
    return 0;
}

uint64_t heap_kb() {
    return mallinfo2().uordblks / 1024;
}

} // namespace

void SelfCheck::start() {
    descriptors_ = descriptors_but_arenas();
}

bool SelfCheck::settled(Scoreboard *board) {
    const uint64_t attached = static_cast<uint64_t>(streaming_channels) * witnesses - board->retirements;
    const uint64_t now = descriptors_but_arenas();
    since_ns_ = since_ns_ == 0 ? now_ns() : since_ns_;
    const bool right = now == descriptors_ + attached && link_pages() == attached;
    if (!right && now_ns() - since_ns_ < settle_ns && board->retirements == 0) {
        return false;
    }
    since_ns_ = 0;
    if (!right && board->retirements == 0) {
        fail(board, "the broadcaster has %llu descriptors and %llu link pages where %llu and %llu are due",
             static_cast<unsigned long long>(now), static_cast<unsigned long long>(link_pages()),
             static_cast<unsigned long long>(descriptors_ + attached),
             static_cast<unsigned long long>(attached));
    }
    const uint64_t heap = heap_kb();
    const uint64_t anonymous = anonymous_kb();
    if (checks_ == 0) {
        heap_kb_ = heap;
        anonymous_kb_ = anonymous;
        board->descriptors[0] = now;
        board->heap_kb[0] = heap;
        board->anonymous_kb[0] = anonymous;
    }
    ++checks_;
    board->descriptors[1] = now;
    board->heap_kb[1] = heap;
    board->anonymous_kb[1] = anonymous;
    if (memory_is_ours &&
        (heap > heap_kb_ + heap_growth_kb || anonymous > anonymous_kb_ + anonymous_growth_kb)) {
        fail(board,
             "the broadcaster's memory grows: heap from %llu KB to %llu KB, private from %llu KB to %llu KB",
             static_cast<unsigned long long>(heap_kb_), static_cast<unsigned long long>(heap),
             static_cast<unsigned long long>(anonymous_kb_), static_cast<unsigned long long>(anonymous));
    }
    return true;
}

} // namespace stress
