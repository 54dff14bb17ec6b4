#include "tests/support/stream_check.h"

namespace orv::test
{

u64 fnv1a(u64 digest, const void* bytes, usize count)
{
    constexpr u64 kPrime = 0x100000001B3;
    const u8* p = static_cast<const u8*>(bytes);
    for (; count >= sizeof(u64); count -= sizeof(u64), p += sizeof(u64)) {
        u64 word;
        std::memcpy(&word, p, sizeof word);
        digest = (digest ^ word ^ word >> 32) * kPrime;
    }
    for (; count > 0; count--) {
        digest = (digest ^ *p++) * kPrime;
    }
    return digest;
}

i16 check_header(ImageHeader* header, void* user_data)
{
    StreamCheck& check = *static_cast<StreamCheck*>(user_data);
    const BITMAPINFOHEADER& info = header->info;
    check.width = info.biWidth;
    check.height = info.biHeight;
    check.bits = info.biBitCount;
    if (check.headers++ != 0) {
        check.problem = "a second header";
    } else if (info.biWidth < 1 || info.biWidth > 32767 || info.biHeight < 0 || info.biHeight > 32767) {
        // A fax page without lines has no height.
        check.problem = "a header without a sane size";
    } else if (info.biBitCount > 24 || info.biSize != kBitmapHeaderBytes || info.biCompression != 0) {
        check.problem = "a header of the wrong kind";
    } else {
        const usize palette = info.biBitCount <= 8 ? usize{4} << info.biBitCount : 0;
        check.digest = fnv1a(check.digest, header, kBitmapHeaderBytes + palette);
    }
    return check.problem == nullptr ? i16{0} : i16{-1};
}

i16 check_row(const void* row, void* user_data, i16 row_number, i16 length)
{
    StreamCheck& check = *static_cast<StreamCheck*>(user_data);
    if (check.headers != 1) {
        check.problem = "a row before the header";
    } else if (row_number < 0 || row_number >= check.height) {
        check.problem = "a row number outside the picture";
    } else if (length < 0) {
        check.problem = "a row of negative length";
    } else {
        check.rows++;
        check.digest = fnv1a(check.digest, &row_number, sizeof row_number);
        check.digest = fnv1a(check.digest, row, static_cast<usize>(length));
    }
    return 0;
}

}  // namespace orv::test
