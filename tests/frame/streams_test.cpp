#include "frame/streams.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "frame/chunk_reader.h"
#include "frame/scratch.h"
#include "frame/text_buffers.h"
#include "platform/files.h"
#include "platform/memory.h"
#include "platform/testing.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

const std::vector<u8> kBytes = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};

TEST(Streams, FilesSeekReadAndWrite)
{
    const std::string path = temp_path("stream.bin");
    write_file(path, kBytes);
    const int file = platform::_lopen(path.c_str(), platform::OF_READWRITE);
    u8 buffer[20] = {};
    EXPECT_EQ(stream_size(file), 10u);
    EXPECT_EQ(stream_seek(file, 4, kFromStart), 4);
    EXPECT_EQ(stream_seek(file, -5, kFromHere), -1);
    EXPECT_EQ(stream_seek(file, 0, kFromHere), 4) << "a failed seek leaves the position alone";
    EXPECT_FALSE(stream_seek_to(file, 0x80000000));
    EXPECT_EQ(stream_read(file, buffer, 20), 6u);
    EXPECT_EQ(buffer[5], 10);
    EXPECT_EQ(stream_seek(file, -1, kFromEnd), 9);
    EXPECT_TRUE(stream_write_all(file, std::vector<u8>(100000, 7).data(), 100000));
    EXPECT_EQ(stream_size(file), 100009u);
    platform::testing::shorten_write(2);
    EXPECT_FALSE(stream_write_all(file, std::vector<u8>(100000, 7).data(), 100000));
    EXPECT_EQ(stream_seek(file, 0x7FFFFFFF, kFromStart), 0x7FFFFFFF);
    EXPECT_EQ(stream_seek(file, 1, kFromHere), -1) << "positions end at 2^31 - 1";
    EXPECT_FALSE(stream_read_exact(file, buffer, 1));
    platform::_lclose(file);
    EXPECT_EQ(stream_read(file, buffer, 1), 0u) << "a failed read moves nothing";
    EXPECT_EQ(stream_seek(file, 0, kFromStart), -1);
}

TEST(Streams, MemoryOfKnownSizeHasAnEnd)
{
    std::vector<u8> block = kBytes;
    u8 buffer[20] = {};
    memory_stream_open_sized(block.data(), 10, MemoryAccess::Read);
    EXPECT_EQ(stream_size(MEMORY_STREAM), 10u);
    EXPECT_EQ(stream_read(MEMORY_STREAM, buffer, 20), 10u);
    stream_seek(MEMORY_STREAM, -3, kFromEnd);
    EXPECT_EQ(stream_read(MEMORY_STREAM, buffer, 20), 3u);
    EXPECT_EQ(buffer[0], 8);
    EXPECT_EQ(stream_seek(MEMORY_STREAM, -100, kFromHere), -1) << "as on a file";
    EXPECT_EQ(memory_stream_pos, 10u);
    stream_seek(MEMORY_STREAM, 0x7FFFFFFF, kFromStart);
    EXPECT_EQ(stream_read(MEMORY_STREAM, buffer, 20), 0u);

    memory_stream_open_sized(block.data(), 10, MemoryAccess::Write);
    EXPECT_EQ(stream_read(MEMORY_STREAM, buffer, 4), 0u) << "what the block held before does not count";
    EXPECT_EQ(stream_write(MEMORY_STREAM, buffer, 6), 6u);
    EXPECT_EQ(stream_size(MEMORY_STREAM), 6u);
    EXPECT_FALSE(stream_write_all(MEMORY_STREAM, buffer, 5));
    EXPECT_EQ(stream_size(MEMORY_STREAM), 10u);
    memory_stream_open_sized(nullptr, 0, MemoryAccess::Write);
    EXPECT_EQ(stream_write(MEMORY_STREAM, buffer, 1), 0u);
}

TEST(Streams, MemoryOfUnknownSizeTrustsTheBlock)
{
    std::vector<u8> block(600);
    memory_stream_open(block.data());
    EXPECT_EQ(stream_write(MEMORY_STREAM, std::vector<u8>(500, 9).data(), 500), 500u);
    EXPECT_EQ(stream_size(MEMORY_STREAM), 500u);
    EXPECT_EQ(stream_seek(MEMORY_STREAM, -4, kFromHere), 0);
    EXPECT_EQ(memory_stream_pos, 496u);
    stream_seek(MEMORY_STREAM, 300, kFromEnd);
    EXPECT_EQ(memory_stream_pos, 0u);
    u8 byte = 5;
    memory_stream_open(nullptr);
    EXPECT_EQ(stream_read(MEMORY_STREAM, &byte, 1) + stream_write(MEMORY_STREAM, &byte, 1), 0u);
}

TEST(Streams, ChunkReaderGivesEveryByteAndAStickyEnd)
{
    std::vector<u8> data(200'000);
    for (usize i = 0; i < data.size(); i++) {
        data[i] = static_cast<u8>(i * 7 ^ i >> 8);
    }
    write_file(temp_path("panes"), data);
    const int descriptor = platform::_lopen(temp_path("panes").c_str(), platform::OF_READ);
    {
        const StreamWindow window(descriptor);
        ChunkReader in = chunk_open(descriptor);
        usize seen = 0;
        for (u32 step = 1; chunk_ensure(in, step); step = step % 6000 + 1) {
            for (u32 i = 0; i < step; i++) {
                ASSERT_EQ(in.buffer[in.pos++], data[seen++]);
            }
        }
        EXPECT_EQ(seen + chunk_available(in), data.size());
        EXPECT_FALSE(chunk_ensure(in, 6001)) << "an end once seen stays";
        // A table at one place and data at others, read in turn, and more than a pane at a time.
        std::vector<u8> piece(100'000);
        for (u32 i = 0; i < 300; ++i) {
            const u32 at = i % 3 == 0 ? 100 + 4 * i : (i * 7919) % 100'000;
            const u32 count = i % 50 == 49 ? 100'000 : i % 900;
            ASSERT_EQ(stream_seek(descriptor, static_cast<i32>(at), kFromStart), static_cast<i32>(at));
            ASSERT_EQ(stream_read_all(descriptor, piece.data(), count), count);
            ASSERT_TRUE(std::equal(piece.begin(), piece.begin() + count, data.begin() + at)) << i;
        }
        EXPECT_EQ(stream_seek(descriptor, -10, kFromEnd), 199'990);
        EXPECT_EQ(stream_seek(descriptor, -1, kFromStart), -1);
        EXPECT_EQ(stream_read_all(descriptor, piece.data(), 50), 10u);
        stream_seek(descriptor, 1234, kFromStart);
    }
    EXPECT_EQ(platform::_llseek(descriptor, 0, kFromHere), 1234) << "where the reader left it";
    platform::_lclose(descriptor);
}

TEST(Streams, NoFileGetsTheMemoryStreamsNumber)
{
    // Descriptors as high may not be had here: the next one takes the place of 32767.
    const int next = dup(0);
    close(next);
    platform::testing::reserve_number(next);
    for (const auto open : {+[](const char* name) { return platform::_lcreat(name, 0); },
                            +[](const char* name) { return platform::_lopen(name, platform::OF_READ); }}) {
        const int file = open(temp_path("number").c_str());
        EXPECT_GT(file, next);
        platform::_lclose(file);
    }
    platform::testing::reserve_number(0);
}

TEST(Scratch, TwentySlotsOfSixteenBitSizes)
{
    std::vector<u8*> blocks;
    for (int i = 0; i < 20; i++) {
        blocks.push_back(scratch_alloc(0x10005));
        EXPECT_EQ(platform::GlobalSize(platform::GlobalHandle(blocks.back())), 5u);
        EXPECT_EQ(std::vector<u8>(blocks.back(), blocks.back() + 5), std::vector<u8>(5));
    }
    EXPECT_EQ(scratch_alloc(10), nullptr) << "there is no 21st slot";
    const u8 stranger = 0;
    scratch_free(&stranger);
    scratch_free(blocks[7]);
    EXPECT_EQ(platform::testing::live_blocks(), 19);
    EXPECT_NE(scratch_alloc(0xFFFF), nullptr);
    scratch_free_all();
    EXPECT_EQ(platform::testing::live_blocks(), 0);
    platform::testing::fail_allocation(1);
    EXPECT_EQ(scratch_alloc(10), nullptr);
}

TEST(Blocks, KeepContentsWhenTheyGrowAndComeZeroed)
{
    using namespace platform;
    const BlockHandle block = LocalAlloc(GMEM_SCRATCH, 8);
    auto* bytes = static_cast<u8*>(LocalLock(block));
    std::memset(bytes, 0xAA, 8);
    LocalUnlock(block);
    platform::testing::fail_allocation(1);
    EXPECT_EQ(LocalReAlloc(block, 100000, GMEM_MOVEABLE), 0);
    EXPECT_EQ(LocalReAlloc(block, 100000, GMEM_MOVEABLE), block);
    bytes = static_cast<u8*>(LocalLock(block));
    EXPECT_EQ(std::vector<u8>(bytes, bytes + 9), (std::vector<u8>{170, 170, 170, 170, 170, 170, 170, 170, 0}));
    EXPECT_EQ(GlobalHandle(bytes), block);
    LocalUnlock(block);
    EXPECT_EQ(LocalFree(block), 0);
    EXPECT_EQ(GlobalLock(block), nullptr);
    EXPECT_NE(GlobalFree(block), 0) << "a block can't be freed twice";
    EXPECT_EQ(GlobalAlloc(GMEM_MOVEABLE, SIZE_MAX), 0);
}

TEST(Files, TemporaryOnesAreNeverSomebodyElses)
{
    using namespace platform;
    OFSTRUCT made = {};
    const int file = OpenFile("temporary", &made, OF_CREATE);
    ASSERT_GE(file, 0);
    EXPECT_EQ(OpenFile("temporary", &made, OF_CREATE), -1) << "the name is taken";
    _lclose(file);
    ASSERT_TRUE(run("mv temporary mine && ln -s mine temporary"));
    EXPECT_EQ(OpenFile("temporary", &made, OF_CREATE), -1);
    ASSERT_TRUE(run("rm temporary && echo other >temporary"));
    EXPECT_EQ(OpenFile("temporary", &made, OF_DELETE), -1) << "another file of the same name stays";
    EXPECT_FALSE(read_file("temporary").empty());
    ASSERT_TRUE(run("mv mine temporary"));
    EXPECT_GE(OpenFile("temporary", &made, OF_DELETE), 0);
    EXPECT_TRUE(run("test ! -e temporary"));
}

TEST(Texts, StartValuesAndCuts)
{
    char name[200];
    char date[40];
    IMGLOW_get_bitmap_name(name, date);
    EXPECT_EQ(std::strlen(name), 38u);
    EXPECT_STREQ(date, "11-24-1992");
    IMGLOW_set_bitmap_name(std::string(300, 'n').c_str(), std::string(300, 'd').c_str());
    IMGLOW_get_bitmap_name(name, date);
    EXPECT_EQ(std::string(name), std::string(199, 'n'));
    EXPECT_EQ(std::string(date), std::string(39, 'd'));
    IMGLOW_set_bitmap_name("a", "b");
    EXPECT_EQ(std::string(name_buffer, 200), "a" + std::string(199, '\0'));
}

}  // namespace
}  // namespace orv::test
