// Where a picture being loaded goes: the one record through which every reader hands over its header and
// its rows. With the frame's own callbacks rows are written where they belong in the image and nothing is
// copied; with a caller's callbacks one row of scratch is lent and handed over, row by row.
//
// A reader:
//     PictureSink& sink                                       made by the dispatcher
//     picture_begin(sink, header)                             once; a negative result is the reader's
//     u8* place = row_lend(sink, row); ... row_done(sink, row)      or row_give(sink, row, bytes)
// Rows count from the picture's top line, 0, in any order.
#pragma once

#include "frame/errors.h"
#include "frame/rows.h"
#include "frame/types.h"

namespace orv
{

// How a row arrived. Repaired: something in it was made up, repeated or cut. Missing: all of it is zero, as the
// file has none of its bytes; it is handed over all the same.
enum class RowState : u8 { Whole, Repaired, Missing };

// Of a row of which `came` bytes came of those that are `needed`.
static inline RowState row_state(usize came, usize needed)
{
    return came >= needed ? RowState::Whole : came > 0 ? RowState::Repaired : RowState::Missing;
}

// One bit a row.
inline constexpr usize kRowSetWords = (usize{kMaxSide} + 63) / 64;

struct PictureSink {
    HeaderCallback header_callback;
    RowCallback row_callback;
    void* user_data;
    bool fills_image;  // the callbacks are the frame's, which fill the image of current_handle

    // Settled by picture_begin: what the callback does to the header afterwards changes nothing here.
    i32 width;      // pixels
    i32 height;     // rows, 0 until picture_begin
    u16 bits;       // a pixel
    u32 stride;     // bytes of a row as it is delivered
    u32 row_bytes;  // bytes of it that hold pixels; the rest is padding

    u8* image;  // the image's rows, bottom row first; null with a caller's callbacks
    u8* lent;   // a caller's row of scratch

    // For the load report: which rows came, which of them were repaired, and the first reason given.
    u64 came[kRowSetWords];
    u64 repaired[kRowSetWords];
    const char* reason;
};

// Checks the header (header_check), calls the HeaderCallback and settles the geometry. Negative: the
// check's code, the callback's result, or kOutOfMemory; the reader returns it.
i16 picture_begin(PictureSink& sink, ImageHeader& header, DepthRule rule = DepthRule::Carried);

// The same without the check, for a picture of no rows that only a streaming caller may see.
i16 picture_begin_empty(PictureSink& sink, ImageHeader& header);

// The place of a row, of `stride` bytes, where the reader writes all pixels: bytes that the file does not
// give must be zeroed. Null outside the picture. In an image the next higher address is another row's.
static inline u8* row_lend(PictureSink& sink, i32 row)
{
    if (row < 0 || row >= sink.height) [[unlikely]] {
        return nullptr;
    }
    return sink.image == nullptr ? sink.lent
                                 : sink.image + usize{sink.stride} * static_cast<u32>(sink.height - 1 - row);
}

// The row last lent is complete: hands it to the RowCallback, or marks it as filled.
void row_done(PictureSink& sink, i32 row, RowState state = RowState::Whole);

// Hands over a row that is kept elsewhere, `stride` bytes. A row outside the picture is ignored.
void row_give(PictureSink& sink, i32 row, const void* bytes, RowState state = RowState::Whole);

// The place of `count` rows, from `bottom_row` up to smaller numbers, one behind the other in the order of
// files that store the bottom row first. Null where rows must be handed over one by one or lie outside.
u8* rows_lend_upward(PictureSink& sink, i32 bottom_row, i32 count);
void rows_done_upward(PictureSink& sink, i32 bottom_row, i32 count);

// Notes why rows are missing or repaired. `reason` is a constant text; the first one stays.
static inline void picture_note(PictureSink& sink, const char* reason)
{
    if (sink.reason == nullptr) {
        sink.reason = reason;
    }
}

// For the dispatcher, behind the reader: rows that did not come are cleared, and the load report of this
// thread is filled.
void picture_end(PictureSink& sink, i16 result);

inline constexpr char kNoteDataEnded[] = "the data ends early";
inline constexpr char kNoteBadCode[] = "a code is not valid";

}  // namespace orv
