// Memory blocks on a POSIX host: a table of numbered blocks, each with a header in front that carries
// its number.
#include "platform/memory.h"

#include <sys/mman.h>

#include <cstdlib>
#include <cstring>

#include "platform/testing.h"

#if defined(__SANITIZE_ADDRESS__)
#define ORV_PLAIN_BLOCKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ORV_PLAIN_BLOCKS 1
#endif
#endif
#if !defined(ORV_PLAIN_BLOCKS)
#define ORV_PLAIN_BLOCKS 0  // 1: every block is the allocator's own, so that a sanitizer sees its ends
#endif

namespace platform
{
namespace
{

constexpr std::size_t kHeaderBytes = 64;  // keeps rows aligned to cache lines
constexpr std::size_t kHugePage = std::size_t{2} << 20;
constexpr std::size_t kMappedFrom = std::size_t{1} << 20;
constexpr std::size_t kRecycledAtMost = std::size_t{64} << 20;

struct BlockHeader {
    BlockHandle number;
};
static_assert(sizeof(BlockHeader) <= kHeaderBytes);

struct Block {
    unsigned char* base;  // the header; null where the number is free
    std::size_t bytes;    // without the header
    std::size_t room;     // bytes that it may grow to where it lies
    std::size_t mapped;   // bytes of the mapping, 0 where the allocator gave the block
    int locks;
    BlockHandle next_free;
};

// Block n stands at index n; index 0 is not used. Grown by GlobalAlloc, never shrunk.
Block* blocks;
BlockHandle block_room;
BlockHandle first_free;

// The last mapping that was released, kept for the next large block: making its pages anew costs more
// than filling them. Cleared before it is handed out.
unsigned char* recycled;
std::size_t recycled_bytes;

// What platform/testing.h switches and counts.
int live_count;
std::uint64_t live_sum;
std::uint64_t peak_sum;
std::uint64_t allocations;
int allocations_until_failure;

bool allocation_fails()
{
    ++allocations;
    return allocations_until_failure > 0 && --allocations_until_failure == 0;
}

Block* block_of(BlockHandle number)
{
    if (number <= 0 || number >= block_room || blocks[number].base == nullptr) {
        return nullptr;
    }
    return &blocks[number];
}

// A free number, or 0 when the table can't grow.
BlockHandle take_number()
{
    if (first_free == 0) {
        const BlockHandle room = block_room == 0 ? 64 : block_room * 2;
        auto* const grown =
            static_cast<Block*>(std::realloc(blocks, static_cast<std::size_t>(room) * sizeof(Block)));
        if (grown == nullptr) {
            return 0;
        }
        blocks = grown;
        const BlockHandle first_new = block_room == 0 ? 1 : block_room;
        for (BlockHandle number = room - 1; number >= first_new; --number) {
            blocks[number] = {
                .base = nullptr, .bytes = 0, .room = 0, .mapped = 0, .locks = 0, .next_free = first_free};
            first_free = number;
        }
        block_room = room;
    }
    const BlockHandle number = first_free;
    first_free = blocks[number].next_free;
    return number;
}

void give_number_back(BlockHandle number)
{
    blocks[number].base = nullptr;
    blocks[number].next_free = first_free;
    first_free = number;
}

enum class Clearing { Zeroed, None };

// A mapping that starts on a large page: its address, and in `mapped` its length.
unsigned char* map_block(std::size_t need, Clearing clearing, std::size_t& mapped)
{
    if (recycled != nullptr && recycled_bytes >= need && recycled_bytes / 2 <= need) {
        unsigned char* const base = recycled;
        mapped = recycled_bytes;
        recycled = nullptr;
        if (clearing == Clearing::Zeroed) {
            std::memset(base, 0, need);
        }
        return base;
    }
    mapped = (need + kHugePage - 1) & ~(kHugePage - 1);
    const std::size_t reserve = mapped + kHugePage;
    void* const area = mmap(nullptr, reserve, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (area == MAP_FAILED) {
        return nullptr;
    }
    auto* const start = static_cast<unsigned char*>(area);
    const std::size_t front = (0 - reinterpret_cast<std::uintptr_t>(start)) & (kHugePage - 1);
    if (front != 0) {
        munmap(start, front);
    }
    munmap(start + front + mapped, kHugePage - front);
    (void)madvise(start + front, mapped, MADV_HUGEPAGE);
    return start + front;
}

void unmap_block(unsigned char* base, std::size_t mapped)
{
    if (mapped > kRecycledAtMost) {
        munmap(base, mapped);
        return;
    }
    if (recycled != nullptr) {
        munmap(recycled, recycled_bytes);
    }
    recycled = base;
    recycled_bytes = mapped;
}

// Memory for `bytes` behind a header.
unsigned char* take_memory(std::size_t bytes, Clearing clearing, std::size_t& mapped)
{
    mapped = 0;
    if (bytes > static_cast<std::size_t>(PTRDIFF_MAX) - 2 * kHugePage - kHeaderBytes) {
        return nullptr;
    }
    const std::size_t need = bytes + kHeaderBytes;
    if (ORV_PLAIN_BLOCKS == 0 && need >= kMappedFrom) {
        return map_block(need, clearing, mapped);
    }
    return static_cast<unsigned char*>(clearing == Clearing::Zeroed ? std::calloc(1, need) : std::malloc(need));
}

void release_memory(unsigned char* base, std::size_t mapped)
{
    if (mapped != 0) {
        unmap_block(base, mapped);
    } else {
        std::free(base);
    }
}

void count_in(std::size_t bytes)
{
    ++live_count;
    live_sum += bytes;
    if (live_sum > peak_sum) {
        peak_sum = live_sum;
    }
}

void count_out(std::size_t bytes)
{
    --live_count;
    live_sum -= bytes;
}

}  // namespace

BlockHandle GlobalAlloc(std::uint32_t flags, std::size_t bytes)
{
    if (allocation_fails()) {
        return 0;
    }
    const BlockHandle number = take_number();
    if (number == 0) {
        return 0;
    }
    std::size_t mapped;
    const Clearing clearing = (flags & GMEM_UNCLEARED) != 0 ? Clearing::None : Clearing::Zeroed;
    unsigned char* const base = take_memory(bytes, clearing, mapped);
    if (base == nullptr) {
        give_number_back(number);
        return 0;
    }
    const BlockHeader header = {.number = number};
    std::memcpy(base, &header, sizeof header);
    blocks[number] = {
        .base = base, .bytes = bytes, .room = bytes, .mapped = mapped, .locks = 0, .next_free = 0};
    count_in(bytes);
    return number;
}

void* GlobalLock(BlockHandle number)
{
    Block* const block = block_of(number);
    if (block == nullptr) {
        return nullptr;
    }
    ++block->locks;
    return block->base + kHeaderBytes;
}

int GlobalUnlock(BlockHandle number)
{
    Block* const block = block_of(number);
    if (block == nullptr || block->locks == 0) {
        return 0;
    }
    return --block->locks;
}

BlockHandle GlobalFree(BlockHandle number)
{
    Block* const block = block_of(number);
    if (block == nullptr) {
        return number;
    }
    count_out(block->bytes);
    release_memory(block->base, block->mapped);
    give_number_back(number);
    return 0;
}

BlockHandle GlobalHandle(const void* pointer)
{
    if (pointer == nullptr) {
        return 0;
    }
    BlockHeader header;
    std::memcpy(&header, static_cast<const unsigned char*>(pointer) - kHeaderBytes, sizeof header);
    return block_of(header.number) == nullptr ? 0 : header.number;
}

std::size_t GlobalSize(BlockHandle number)
{
    const Block* const block = block_of(number);
    return block == nullptr ? 0 : block->bytes;
}

BlockHandle LocalAlloc(std::uint32_t flags, std::size_t bytes)
{
    return GlobalAlloc(flags, bytes);
}

BlockHandle LocalReAlloc(BlockHandle number, std::size_t bytes, std::uint32_t /*flags*/)
{
    Block* const block = block_of(number);
    if (block == nullptr || block->locks != 0 || allocation_fails()) {
        return 0;
    }
    if (bytes > block->room) {
        // Half as much again, so that a block that grows by little steps is seldom moved.
        const std::size_t room = bytes + bytes / 2;
        std::size_t mapped;
        unsigned char* const base = take_memory(room, Clearing::Zeroed, mapped);
        if (base == nullptr) {
            return 0;
        }
        std::memcpy(base, block->base, kHeaderBytes + block->bytes);
        release_memory(block->base, block->mapped);
        block->base = base;
        block->room = room;
        block->mapped = mapped;
    }
    if (bytes > block->bytes) {
        std::memset(block->base + kHeaderBytes + block->bytes, 0, bytes - block->bytes);
    }
    count_out(block->bytes);
    count_in(bytes);
    block->bytes = bytes;
    return number;
}

void* LocalLock(BlockHandle number)
{
    return GlobalLock(number);
}
int LocalUnlock(BlockHandle number)
{
    return GlobalUnlock(number);
}
BlockHandle LocalFree(BlockHandle number)
{
    return GlobalFree(number);
}

namespace testing
{

int live_blocks()
{
    return live_count;
}
std::uint64_t allocation_count()
{
    return allocations;
}
void fail_allocation(int n)
{
    allocations_until_failure = n;
}
std::uint64_t live_bytes()
{
    return live_sum;
}
std::uint64_t peak_bytes()
{
    return peak_sum;
}
void reset_peak_bytes()
{
    peak_sum = live_sum;
}

}  // namespace testing
}  // namespace platform
