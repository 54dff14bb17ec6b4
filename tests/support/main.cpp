// The main of every test binary: a directory of its own to work in, and blocks and switches looked
// after around each test.
#include <gtest/gtest.h>

#if __has_include(<malloc.h>)
#include <malloc.h>
#endif

#include <filesystem>

#include "platform/testing.h"
#include "tests/support/files.h"

namespace
{

class BlockWatch : public testing::EmptyTestEventListener
{
    int before_ = 0;
    long files_ = 0;

    static long open_files() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

    void OnTestStart(const testing::TestInfo&) override
    {
        before_ = platform::testing::live_blocks();
        files_ = open_files();
    }

    void OnTestEnd(const testing::TestInfo&) override
    {
        platform::testing::fail_allocation(0);
        platform::testing::shorten_write(0);
        platform::testing::fail_close(0);
        EXPECT_EQ(platform::testing::live_blocks(), before_) << "the test leaves memory blocks behind";
        EXPECT_EQ(open_files(), files_) << "the test leaves files open";
    }
};

}  // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
#ifdef M_PERTURB
    mallopt(M_PERTURB, 0x5A);  // memory that nobody filled holds no zeros
#endif
    testing::UnitTest::GetInstance()->listeners().Append(new BlockWatch);
    std::filesystem::current_path(orv::test::temp_path(""));
    return RUN_ALL_TESTS();
}
