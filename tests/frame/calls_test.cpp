// Calls that meet: from inside callbacks, and from several threads.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

#include "frame/api_call.h"
#include "frame/load.h"
#include "frame/save.h"
#include "orvimg32/extra.h"
#include "orvimg32/sized.h"
#include "platform/files.h"
#include "tests/support/stream_check.h"
#include "tests/support/support.h"

namespace orv::test
{
namespace
{

const char* const kFolders[] = {"bmp", "pcx", "dcx", "tga", "tiff", "gif", "wmf", "pict", "wpg", "eps", "jpeg"};

// Runs `each` with an open file of every fixture.
void for_each_fixture(const std::function<void(int file, const std::vector<u8>& bytes)>& each)
{
    for (const char* folder : kFolders) {
        for (const std::string& path : fixtures(folder)) {
            SCOPED_TRACE(path);
            const int file = platform::_lopen(path.c_str(), platform::OF_READ);
            each(file, read_file(path));
            platform::_lclose(file);
        }
    }
}

// --- Callbacks that call back ---

// What a callback does in the middle of a job: what needs the job's state is refused, all else works.
void call_back(int busy_handle, int file)
{
    static u8 block[8000];
    ImageHeader header = {{40, 4, 3, 1, 24, 0, 0, 0, 0, 0, 0}, {}};
    StreamCheck check;
    u16 size[3];
    EXPECT_EQ(IMG_decompress_bitmap(data_path("bmp/im_1.bmp").c_str()), kNotSupported);
    EXPECT_EQ(IMG_decompress_bitmap_fd(file, 0, 0), kNotSupported);
    EXPECT_EQ(IMG_decompress_bitmap_mem_sized(block, sizeof block, 0), kNotSupported);
    EXPECT_EQ(IMG_decompress_bitmap_mem(block, 0), kNotSupported);
    EXPECT_EQ(IMGLOW_decompress_bitmap(file, 0, 0, check_row, &check, check_header), kNotSupported);
    EXPECT_EQ(IMGLOW_decompress_bitmap_mem(block, 0, check_row, &check, check_header), kNotSupported);
    EXPECT_EQ(IMGLOW_save_bitmap_mem_sized(block, sizeof block, &header, 1, nullptr, nullptr, nullptr),
              kNotSupported);
    const int made = IMG_create_handle(&header);
    EXPECT_GE(made, 0);
    EXPECT_EQ(IMG_save_bitmap(made, "x.bmp", 1, 7, 0, 0, 0), kNotSupported);
    EXPECT_EQ(IMG_save_bitmap_mem(made, block, 1), kNotSupported);
    EXPECT_EQ(IMG_flip_bitmapx(made), kNotSupported);
    EXPECT_EQ(IMG_rotate_bitmap(made, 90), kNotSupported);
    EXPECT_EQ(IMG_resize_bitmap(made, 2, 2), kNotSupported);
    EXPECT_GT(IMG_bitmap_info(made, &size[0], &size[1], &size[2]), 0);
    EXPECT_EQ(IMG_delete_bitmap(made), kOk);
    if (busy_handle >= 0) {
        EXPECT_EQ(IMG_delete_bitmap(busy_handle), kNotSupported);
        EXPECT_GT(IMG_bitmap_info(busy_handle, &size[0], &size[1], &size[2]), 0);
    }
    if (file >= 0) {
        const i16 format = IMG_get_filetype_fd(file);
        EXPECT_TRUE(format != ORV_FORMAT_TIFF || IMG_tiff_page_count(file) > 0);
        EXPECT_EQ(IMG_dcx_page_count(file) > 0, format == ORV_FORMAT_DCX);
    }
    EXPECT_EQ(orv_get_filetype_mem("BM", 2), ORV_FORMAT_BMP);
    EXPECT_EQ(orv_page_count_mem("GIF", 3), 1);
}

struct Reentry {
    StreamCheck check;
    int file;
    int rows = 0;
};

TEST(Callbacks, ALoadIsNotDisturbedByWhatTheyCall)
{
    for_each_fixture([](int file, const std::vector<u8>& bytes) {
        StreamCheck plain;
        current_handle = 0;
        const i16 expected = IMGLOW_decompress_bitmap(file, 0, 0, check_row, &plain, check_header);
        const auto header = [](ImageHeader* h, void* user) {
            auto& reentry = *static_cast<Reentry*>(user);
            call_back(-1, reentry.file);
            return check_header(h, &reentry.check);
        };
        const auto row = [](const void* bits, void* user, i16 number, i16 length) {
            auto& reentry = *static_cast<Reentry*>(user);
            check_row(bits, &reentry.check, number, length);
            if (++reentry.rows == 3) {
                call_back(-1, reentry.file);
            }
            return i16{0};
        };
        Reentry from_file = {{}, file};
        current_handle = 0;
        EXPECT_EQ(IMGLOW_decompress_bitmap(file, 0, 0, row, &from_file, header) < 0, expected < 0);
        EXPECT_EQ(from_file.check.digest, plain.digest);
        Reentry from_memory = {{}, -1};
        const u32 size = static_cast<u32>(bytes.size());
        IMGLOW_decompress_bitmap_mem_sized(bytes.data(), size, 0, row, &from_memory, header);
        EXPECT_EQ(from_memory.check.digest, plain.digest) << "from memory";
    });
}

TEST(Callbacks, ASaveAndAnOperationKeepTheirImage)
{
    static int busy;
    static int calls;
    busy = make_image(40, 30, 8, 5);
    calls = 0;
    const i16 total = save_page_total;
    std::vector<u8> plain(10000);
    std::vector<u8> disturbed(10000);
    IMG_save_bitmap_mem_sized(busy, plain.data(), 10000, ORV_FORMAT_PCX, nullptr);
    IMG_set_callback(
        [](i16, void*) {
            call_back(busy, -1);
            ++calls;
        },
        nullptr);
    EXPECT_EQ(IMG_save_bitmap_mem_sized(busy, disturbed.data(), 10000, ORV_FORMAT_PCX, nullptr), kOk);
    EXPECT_EQ(plain, disturbed);
    EXPECT_EQ(save_page_total, total) << "a refused save changes no setting";
    EXPECT_EQ(IMG_color_gray(busy), kOk);
    EXPECT_GT(calls, 20);
    IMG_set_callback(nullptr, nullptr);
    EXPECT_EQ(IMG_delete_bitmap(busy), kOk);
}

TEST(Callbacks, AHeaderThatIsChangedChangesNothing)
{
    struct Changed {
        StreamCheck check;
        int kind;
    };
    for_each_fixture([](int file, const std::vector<u8>&) {
        StreamCheck plain;
        IMGLOW_decompress_bitmap(file, 0, 0, check_row, &plain, check_header);
        for (int kind = 0; kind < 4; ++kind) {
            Changed changed = {{}, kind};
            const auto header = [](ImageHeader* h, void* user) {
                auto& c = *static_cast<Changed*>(user);
                check_header(h, &c.check);
                BITMAPINFOHEADER& info = h->info;
                info.biWidth = c.kind == 0 ? info.biWidth * 9 : c.kind == 1 ? 1 : info.biWidth;
                info.biHeight = c.kind == 2 ? -info.biHeight : c.kind == 3 ? 32767 : info.biHeight;
                info.biBitCount = c.kind == 3 ? 24 : c.kind == 1 ? 1 : info.biBitCount;
                return i16{0};
            };
            const auto row = [](const void* bits, void* user, i16 number, i16 length) {
                return check_row(bits, &static_cast<Changed*>(user)->check, number, length);
            };
            IMGLOW_decompress_bitmap(file, 0, 0, row, &changed, header);
            EXPECT_EQ(changed.check.digest, plain.digest) << kind;
            EXPECT_EQ(changed.check.problem, nullptr) << kind;
        }
    });
}

// --- Threads ---

TEST(Threads, EightThatLoadChangeAndSave)
{
    const std::vector<u8> file = read_file(data_path("tiff/rgb.tif"));
    std::atomic<int> wrong = 0;
    const auto work = [&](int thread) {
        u64 first = 0;
        for (int round = 0; round < 20; ++round) {
            const i16 handle = IMG_decompress_bitmap_mem_sized(file.data(), static_cast<u32>(file.size()), 0);
            OrvLoadReport report = {sizeof report, 0, 0, 0, 0, {}};
            wrong += orv_load_report(&report) != 0 || report.rows_missing != 0 || report.rows == 0;
            wrong += IMG_rotate_bitmap(handle, static_cast<i16>(90 * (thread % 4))) != 0;
            std::vector<u8> saved(200'000);
            u32 written = 0;
            wrong += IMG_save_bitmap_mem_sized(handle, saved.data(), 200'000, ORV_FORMAT_BMP, &written) != 0;
            wrong += static_cast<ExtraInfo*>(IMG_get_extra_info())->format != ORV_FORMAT_TIFF;
            wrong += IMG_delete_bitmap(handle) != 0;
            const u64 digest = fnv1a(0, saved.data(), written);
            first = round == 0 ? digest : first;
            wrong += digest != first;
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back(work, i);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace orv::test
