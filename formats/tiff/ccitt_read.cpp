#include "formats/tiff/ccitt_read.h"

#include "formats/line_doubling.h"
#include "frame/blocks.h"

namespace orv
{

// --- The bytes of the format: ITU-T T.4 and T.6, see ccitt_codes.h ---

// --- Rows ---

u8* ccitt_place(StripWalk& walk, i32 row_number)
{
    return tiff_row_place(walk, line_doubling ? 2 * row_number : row_number);
}

void ccitt_deliver(StripWalk& walk, const CcittDecoder& decoder, i32 row_number, RowState state)
{
    PictureSink& sink = walk.sink;
    if (decoder.finishes) {
        tiff_finish_row(walk, line_doubling ? 2 * row_number : row_number, state);
    } else {
        ++walk.rows_put;
        row_done(sink, line_doubling ? 2 * row_number : row_number, state);
    }
    if (line_doubling) {
        // With a caller's callback both have the same place.
        const u8* const first = row_lend(sink, 2 * row_number);
        u8* const second = row_lend(sink, 2 * row_number + 1);
        if (second != first) {
            std::memcpy(second, first, sink.stride);
        }
        row_done(sink, 2 * row_number + 1, state);
    }
}

namespace
{

void decode_ccitt_strip(StripWalk& walk, void* context)
{
    const CcittDecoder& decoder = *static_cast<const CcittDecoder*>(context);
    MsbInput input =
        msb_open(walk.file.tiff_stream, decoder.mirrored, walk.fax_file_open ? walk.fax_page_bytes : kNoLimit);
    const MsbBits bits = msb_refill(input, {.bits = 0, .count = 0}, 1);
    if (bits.count > 0) {
        decoder.mode == kTiffT6 ? ccitt_decode_strip_2d(walk, decoder, input, bits)
                                : ccitt_decode_strip_1d(walk, decoder, input, bits);
    }
    walk.bytes_used += input.passed + input.in.pos;
}

// Lines and lists in one block.
bool allocate(CcittDecoder& decoder)
{
    const usize line_bytes = ccitt_line_words(decoder.row.width) * sizeof(u64);
    const usize list_bytes = static_cast<usize>(decoder.row.width + kListMargin) * sizeof(i32);
    const bool lists = decoder.mode == kTiffT6;
    decoder.block = block_alloc(2 * line_bytes + (lists ? 2 * list_bytes : 0));
    if (decoder.block == nullptr) {
        return false;
    }
    decoder.line = reinterpret_cast<u64*>(decoder.block);
    decoder.line_above = reinterpret_cast<u64*>(decoder.block + line_bytes);
    if (lists) {
        decoder.reference = reinterpret_cast<i32*>(decoder.block + 2 * line_bytes);
        decoder.changes = reinterpret_cast<i32*>(decoder.block + 2 * line_bytes + list_bytes);
    }
    return true;
}

}  // namespace

i16 tiff_decode_ccitt(StripWalk& walk, i16 mode)
{
    if (walk.dir.BitsPerSample * walk.dir.SamplesPerPixel != 1) {
        picture_note(walk.sink, "the coding does not suit the depth");
        return kOk;
    }
    CcittDecoder decoder = {};
    decoder.mode = mode;
    decoder.mirrored = walk.dir.FillOrder == kFillOrderReversed;
    decoder.finishes = walk.finish.add_left_byte;
    const bool flips = walk.finish.complement && !decoder.finishes;
    decoder.row = {
        .width = static_cast<i32>(walk.dir.ImageWidth), .length = walk.length, .flip = flips ? ~u64{0} : 0};
    if (!allocate(decoder)) {
        return kOutOfMemory;
    }
    decode_strips(walk, decode_ccitt_strip, &decoder);
    block_free(decoder.block);
    return kOk;
}

}  // namespace orv
