// The allocator of a channel's arena: tiles, splits, joins, and what it does when blocks run out.

#include "shbf/arena.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace shbf;

namespace {

constexpr uint32_t arena_bytes = 65536;
constexpr uint32_t file_bytes = 65536;

/* What must hold after every operation. */
void check(const Arena *arena) {
    uint32_t offset = 0;
    uint32_t used_bytes = 0;
    uint32_t used_blocks = 0;
    uint16_t previous = no_block;
    bool previous_free = false;
    for (uint16_t index = 0; index != no_block; index = arena->blocks[index].next) {
        const Block &block = arena->blocks[index];
        ASSERT_EQ(block.offset, offset) << "blocks tile the arena";
        ASSERT_EQ(block.previous, previous);
        ASSERT_GT(block.length, 0U);
        ASSERT_EQ(block.length % block_unit, 0U);
        ASSERT_FALSE(previous_free && !block.used) << "free neighbours are one block";
        if (block.used) {
            used_bytes += block.length;
            ++used_blocks;
            ASSERT_LE(block.size, block.length);
        }
        offset += block.length;
        previous = index;
        previous_free = !block.used;
    }
    ASSERT_EQ(offset, arena->size);
    ASSERT_EQ(used_bytes, arena->used_bytes);
    ASSERT_EQ(used_blocks, arena->used_blocks);
}

class ArenaTest : public testing::Test {
  protected:
    ArenaTest() : arena_(arena_open(1, arena_bytes, true)) {}
    ~ArenaTest() override { arena_close(arena_); }
    Arena *arena_;
};

TEST_F(ArenaTest, AtFirstIsOneFreeRun) {
    check(arena_);
    EXPECT_EQ(arena_room(arena_), arena_bytes);
}

TEST_F(ArenaTest, SizesAreRoundedUpToUnits) {
    const Block *nothing = arena_alloc(arena_, 0);
    EXPECT_EQ(nothing->length, 64U);
    EXPECT_EQ(nothing->size, 0U);
    const Block *one = arena_alloc(arena_, 65);
    EXPECT_EQ(one->length, 128U);
    EXPECT_EQ(one->offset, 64U);
    check(arena_);
}

TEST_F(ArenaTest, TheWholeArenaInOneBlock) {
    Block *block = arena_alloc(arena_, arena_bytes);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(arena_room(arena_), 0U);
    EXPECT_EQ(arena_alloc(arena_, 0), nullptr);
    arena_free(arena_, block);
    check(arena_);
    EXPECT_EQ(arena_alloc(arena_, arena_bytes + 1), nullptr);
}

TEST_F(ArenaTest, FreeJoinsBothNeighbours) {
    Block *a = arena_alloc(arena_, 1000);
    Block *b = arena_alloc(arena_, 1000);
    Block *c = arena_alloc(arena_, 1000);
    arena_free(arena_, a);
    check(arena_);
    arena_free(arena_, c);
    check(arena_);
    arena_free(arena_, b);
    check(arena_);
    EXPECT_EQ(arena_room(arena_), arena_bytes);
}

TEST_F(ArenaTest, TrimGivesTheTailToTheNextBlock) {
    Block *a = arena_alloc(arena_, arena_bytes);
    arena_trim(arena_, a, 100);
    check(arena_);
    EXPECT_EQ(a->size, 100U);
    EXPECT_EQ(arena_room(arena_), arena_bytes - 128);
    const Block *b = arena_alloc(arena_, 1000);
    EXPECT_EQ(b->offset, 128U);
}

TEST_F(ArenaTest, FirstFitTakesTheLowestPlace) {
    Block *a = arena_alloc(arena_, 1024);
    arena_alloc(arena_, 1024);
    arena_free(arena_, a);
    EXPECT_EQ(arena_alloc(arena_, 512)->offset, 0U);
    EXPECT_EQ(arena_alloc(arena_, 1024)->offset, 2048U) << "the hole that is left is too small";
}

TEST_F(ArenaTest, FindKnowsOnlyTheBeginningOfUsedBlocks) {
    Block *block = arena_alloc(arena_, 1000);
    EXPECT_EQ(arena_find(arena_, arena_->base), block);
    EXPECT_EQ(arena_find(arena_, arena_->base + 64), nullptr);
    arena_free(arena_, block);
    EXPECT_EQ(arena_find(arena_, arena_->base), nullptr);
}

TEST_F(ArenaTest, WithoutSpareBlocksTheRestOfTheRunIsTaken) {
    std::vector<Block *> blocks;
    for (uint32_t i = 0; i < arena_slots - 1; ++i) {
        blocks.push_back(arena_alloc(arena_, 64));
    }
    check(arena_);
    Block *last = arena_alloc(arena_, 64);
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->length, arena_bytes - 64 * (arena_slots - 1));
    check(arena_);
    EXPECT_EQ(arena_alloc(arena_, 64), nullptr);
    arena_trim(arena_, last, 10);
    check(arena_);
    for (Block *block : blocks) {
        arena_free(arena_, block);
        check(arena_);
    }
    arena_free(arena_, last);
    EXPECT_EQ(arena_room(arena_), arena_bytes);
}

TEST_F(ArenaTest, AnyOrderOfAllocationsTrimsAndFrees) {
    std::mt19937 random(42);
    std::vector<Block *> blocks;
    for (int step = 0; step < 20000; ++step) {
        const auto roll = random();
        if (blocks.empty() || roll % 3 == 0) {
            const uint32_t size = static_cast<uint32_t>(random() % 20000);
            Block *block = arena_alloc(arena_, size);
            if (block != nullptr) {
                arena_trim(arena_, block, size == 0 ? 0 : static_cast<uint32_t>(random() % (size + 1)));
                blocks.push_back(block);
            } else {
                ASSERT_LT(arena_room(arena_), size == 0 ? 1 : size);
            }
        } else {
            const size_t at = random() % blocks.size();
            arena_free(arena_, blocks[at]);
            blocks.erase(blocks.begin() + static_cast<std::ptrdiff_t>(at));
        }
        check(arena_);
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST_F(ArenaTest, TheDescriptorForReadersCannotBeUsedToWrite) {
    ASSERT_GE(arena_->fd, 0);
    EXPECT_EQ(mmap(nullptr, file_bytes, PROT_READ | PROT_WRITE, MAP_SHARED, arena_->fd, 0), MAP_FAILED);
    EXPECT_EQ(write(arena_->fd, "x", 1), -1);
    EXPECT_NE(ftruncate(arena_->fd, 0), 0);
    void *readable = mmap(nullptr, file_bytes, PROT_READ, MAP_SHARED, arena_->fd, 0);
    ASSERT_NE(readable, MAP_FAILED);
    EXPECT_NE(mprotect(readable, file_bytes, PROT_READ | PROT_WRITE), 0);
    arena_->base[5] = 77;
    EXPECT_EQ(static_cast<const uint8_t *>(readable)[5], 77);
    munmap(readable, file_bytes);
}

TEST_F(ArenaTest, NobodyCanMakeAWritableDescriptorOutOfIt) {
    const std::string again = "/proc/self/fd/" + std::to_string(arena_->fd);
    const int fd = open(again.c_str(), O_RDWR);
    if (fd >= 0) {
        EXPECT_EQ(mmap(nullptr, file_bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0), MAP_FAILED);
        EXPECT_EQ(write(fd, "x", 1), -1);
        close(fd);
    }
}

TEST_F(ArenaTest, AllOfItIsAllocatedAtOnce) {
    struct stat status {};
    ASSERT_EQ(fstat(arena_->fd, &status), 0);
    EXPECT_EQ(status.st_size, static_cast<off_t>(file_bytes));
    EXPECT_GE(status.st_blocks * 512, static_cast<blkcnt_t>(file_bytes));
}

TEST(PrivateArena, HasNoDescriptor) {
    Arena *arena = arena_open(1, 1000, false);
    ASSERT_NE(arena, nullptr);
    EXPECT_EQ(arena->fd, -1);
    EXPECT_EQ(arena->size, static_cast<uint32_t>(sysconf(_SC_PAGESIZE)));
    arena_close(arena);
}

} // namespace
