#include "tests/support/robust.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "frame/errors.h"
#include "orvimg32/sized.h"
#include "platform/testing.h"
#include "tests/support/files.h"
#include "tests/support/stream_check.h"

namespace orv::test
{

using namespace platform::testing;

LoadResults check_load(std::span<const u8> file, int page)
{
    // A block of exactly the file's size, so that the sanitizers see a read behind its end.
    const auto block = std::make_unique<u8[]>(file.size());
    std::copy(file.begin(), file.end(), block.get());
    const u32 size = static_cast<u32>(file.size());
    const int before = live_blocks();
    StreamCheck check;
    LoadResults results;
    results.streamed = IMGLOW_decompress_bitmap_mem_sized(block.get(), size, static_cast<i16>(page), check_row,
                                                          &check, check_header);
    EXPECT_EQ(check.problem, nullptr) << check.problem;
    EXPECT_EQ(live_blocks(), before) << "a streaming decode left blocks, result " << results.streamed;
    results.loaded = IMG_decompress_bitmap_mem_sized(block.get(), size, static_cast<i16>(page));
    if (results.loaded >= 0) {
        IMG_delete_bitmap(results.loaded);
    }
    EXPECT_EQ(live_blocks(), before) << "a load left blocks, result " << results.loaded;
    return results;
}

void check_all_truncations(std::span<const u8> file, usize step)
{
    constexpr usize kHeaders = 640;
    for (usize length = 0; length < file.size() && !testing::Test::HasFailure();
         length += length < kHeaders ? 1 : step) {
        SCOPED_TRACE(testing::Message() << "cut at " << length << " of " << file.size());
        check_load(file.first(length));
    }
}

void check_mutations(std::span<const u8> file, int count, unsigned seed)
{
    std::mt19937 random(seed);
    const auto below = [&random](usize limit) { return static_cast<usize>(random()) % limit; };
    for (int i = 0; i < count && !file.empty() && !testing::Test::HasFailure(); i++) {
        SCOPED_TRACE(testing::Message() << "mutation " << i << " of seed " << seed);
        std::vector<u8> copy(file.begin(), file.end());
        for (usize change = below(8) + 1; change-- > 0;) {
            const usize range = below(4) == 0 ? copy.size() : std::min<usize>(copy.size(), 128);
            constexpr u8 kEdges[] = {0, 1, 0x7F, 0x80, 0xFF};
            copy[below(range)] = below(2) == 0 ? kEdges[below(std::size(kEdges))] : static_cast<u8>(below(256));
        }
        check_load(copy);
    }
}

void check_fixtures(const char* folder, int mutations, usize step)
{
    for (const std::string& path : fixtures(folder)) {
        SCOPED_TRACE(path);
        const std::vector<u8> file = read_file(path);
        check_load(file);
        check_all_truncations(file, step);
        check_mutations(file, mutations, static_cast<unsigned>(file.size()));
    }
}

void check_allocations(const std::function<i16()>& job)
{
    for (int n = 1;; n++) {
        SCOPED_TRACE(testing::Message() << "allocation " << n << " fails");
        const int before = live_blocks();
        const u64 start = allocation_count();
        fail_allocation(n);
        const i16 result = job();
        fail_allocation(0);
        const u64 asked = allocation_count() - start;
        EXPECT_TRUE(result == kOutOfMemory || result >= 0) << result;
        EXPECT_EQ(live_blocks(), before);
        if (asked < static_cast<u64>(n) || testing::Test::HasFailure()) {
            EXPECT_GT(n, 1) << "the job allocates nothing";
            break;
        }
    }
}

void check_short_writes(const std::function<i16()>& job)
{
    const u64 start = write_count();
    const u64 closed = close_count();
    EXPECT_GE(job(), 0);
    const i64 writes = static_cast<i64>(write_count() - start);
    const u64 closes = close_count() - closed;
    EXPECT_GE(writes, 1) << "the job writes nothing";
    for (i64 n = 1; n <= writes && !testing::Test::HasFailure(); n++) {
        SCOPED_TRACE(testing::Message() << "write " << n << " of " << writes << " is short");
        const int before = live_blocks();
        shorten_write(static_cast<int>(n));
        EXPECT_EQ(job(), kShortWrite);
        shorten_write(0);
        EXPECT_EQ(live_blocks(), before);
    }
    fail_close(static_cast<int>(closes));
    EXPECT_EQ(job(), kShortWrite) << "the file's close fails";
    fail_close(0);
}

}  // namespace orv::test
