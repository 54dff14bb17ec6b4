// Saves any bytes that lie on the clipboard as an image: a file comes out whole, or not at all.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <vector>

#include "frame/bytes.h"
#include "orvimg32/host.h"
#include "platform/testing.h"

using namespace orv;

extern "C" int LLVMFuzzerTestOneInput(const u8* data, usize size);

namespace
{

void require(bool holds, const char* promise)
{
    if (!holds) {
        std::fprintf(stderr, "broken: %s\n", promise);
        std::abort();
    }
}

constexpr char kFile[] = "clipboard.bmp";

// Bitmap files of the corpus are images behind a file header.
void save(const u8* data, usize size)
{
    unlink(kFile);
    orv_clipboard_set_dib(data, static_cast<u32>(size));
    const i16 result = IMG_save_clipboard(kFile, 0);
    orv_clipboard_set_dib(nullptr, 0);
    require(result == 1 || result == ORV_NO_BITMAP, "a save ends well or tells that there is no bitmap");
    require((access(kFile, F_OK) == 0) == (result == 1), "a refused image makes no file");
    if (result == 1) {
        std::ifstream file(kFile, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        require(bytes.size() >= 54, "a file has its headers");
        u8 header[6];
        std::memcpy(header, bytes.data(), sizeof header);
        require(load_le32(header + 2) == bytes.size(), "a file is as long as it says");
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const u8* data, usize size)
{
    const int blocks = platform::testing::live_blocks();
    save(data, size);
    if (size > 14) {
        save(data + 14, size - 14);
    }
    require(platform::testing::live_blocks() == blocks, "no block is left");
    return 0;
}
