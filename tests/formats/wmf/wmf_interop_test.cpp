// WMF from a writer of the tests' own and to ImageMagick.
#include <gtest/gtest.h>

#include "tests/support/support.h"

namespace orv::test
{
namespace
{

TEST(WmfPeers, EveryFixtureIsItsPicture)
{
    for (const std::string& path : fixtures("wmf")) {
        if (path.find("unread") == std::string::npos) {
            expect_same(load_picture(path), fixture_source(path), path.c_str());
        }
    }
}

}  // namespace
}  // namespace orv::test
