#include "tests/formats/jpeg/jpeg_support.h"

namespace orv::test
{
namespace
{

TEST(JpegRobust, Damage)
{
    check_fixtures("jpeg/described", 200, 13);
    const Ways wide(ORV_READING_WIDE, ORV_WRITING_DESCRIBED);
    check_fixtures("jpeg", 100, 13);
}

TEST(JpegRobust, HostsThatFail)
{
    const int handle = make_image(60, 20, 24, 1);
    const std::string path = temp_path("fails.jpg");
    for (const OrvWriting writing : {ORV_WRITING_DESCRIBED, ORV_WRITING_STANDARD}) {
        const Ways ways(ORV_READING_WIDE, writing);
        const auto save = [&] { return IMG_save_bitmap(handle, path.c_str(), ORV_FORMAT_JPEG, 1, 1, 1, 1); };
        check_allocations(save);
        check_short_writes(save);
        EXPECT_EQ(save(), ORV_OK);
        check_allocations([&] {
            const i16 loaded = IMG_decompress_bitmap(path.c_str());
            return loaded < 0 ? loaded : IMG_delete_bitmap(loaded);
        });
    }
    IMG_delete_bitmap(handle);
}

}  // namespace
}  // namespace orv::test
