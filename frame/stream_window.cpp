// Two panes of a file lie in memory at a time, so that a table in one place and the data in another do
// not drive each other out. A pane that goes on where it ended is filled whole; one that is moved
// elsewhere is filled in part, since little may be wanted there.
//
// A pipe has no positions: seeking it fails, and what is borrowed of it is read forward in chunks.
#include "frame/stream_window.h"

#include <algorithm>

#include "platform/files.h"

namespace orv
{
namespace
{

constexpr u32 kPaneBytes = 0x10000;
constexpr u32 kFirstLook = 0x4000;  // read where a pane is moved to
constexpr u32 kPipeChunk = 10000;
constexpr i64 kMostPosition = 0x7FFFFFFF;
constexpr i64 kUnknownPosition = -1;

static_assert(kPaneBytes > kBorrowMost);

struct Pane {
    i64 start;  // position of its first byte
    u32 fill;
};

// The window's state. `file` is -1 while there is none. Written by the functions of this file alone; the
// nested windows of calls from inside callbacks suspend it.
struct Window {
    StreamHandle file = -1;
    i32 suspended;
    bool is_pipe;
    i64 position;       // of the stream, as its readers see it
    i64 file_position;  // where the descriptor stands
    Pane panes[2];
    i32 current;  // the pane used last
};

Window window;
u8 pane_bytes[2][kPaneBytes];

i32 pane_at(i64 position)
{
    for (const i32 i : {window.current, 1 - window.current}) {
        const Pane& pane = window.panes[i];
        if (position >= pane.start && position < pane.start + pane.fill) {
            window.current = i;
            return i;
        }
    }
    return -1;
}

// Reads up to `count` bytes at a position of the file itself.
u32 file_read(i64 position, void* buffer, u32 count)
{
    if (!window.is_pipe && window.file_position != position &&
        platform::_llseek(window.file, static_cast<i32>(position), kFromStart) < 0) {
        return 0;
    }
    const u32 came = static_cast<u32>(std::max(platform::_lread(window.file, buffer, count), 0));
    window.file_position = position + came;
    return came;
}

// Makes a pane begin at the window's position, keeping what it holds from there on, and reads on until it
// has at least `least` bytes or the data ends.
void fill_pane(u32 least)
{
    i32 chosen = pane_at(window.position);
    u32 wanted = window.is_pipe ? kPipeChunk : kPaneBytes;
    if (chosen < 0) {
        chosen = 1 - window.current;
        for (i32 i = 0; i < 2; ++i) {
            const Pane& pane = window.panes[i];
            chosen = pane.fill > 0 && pane.start + pane.fill == window.position ? i : chosen;
        }
        Pane& pane = window.panes[chosen];
        if (pane.start + pane.fill != window.position || window.position == 0) {
            wanted = window.is_pipe ? kPipeChunk : kFirstLook;
        }
        pane.fill = 0;
    }
    window.current = chosen;
    Pane& pane = window.panes[chosen];
    u8* const bytes = pane_bytes[chosen];
    const u32 gone = pane.fill == 0 ? 0 : static_cast<u32>(window.position - pane.start);
    pane.fill -= gone;
    std::memmove(bytes, bytes + gone, pane.fill);
    pane.start = window.position;
    wanted = std::max(std::max(wanted, least), pane.fill);
    pane.fill += file_read(pane.start + pane.fill, bytes + pane.fill, wanted - pane.fill);
}

u32 take_from_panes(u8* to, u32 count)
{
    u32 done = 0;
    while (done < count) {
        const i32 i = pane_at(window.position);
        if (i < 0) {
            break;
        }
        const Pane& pane = window.panes[i];
        const u32 at = static_cast<u32>(window.position - pane.start);
        const u32 piece = std::min(count - done, pane.fill - at);
        std::memcpy(to + done, pane_bytes[i] + at, piece);
        done += piece;
        window.position += piece;
    }
    return done;
}

}  // namespace

bool window_covers(StreamHandle stream)
{
    return stream == window.file && window.suspended == 0;
}

i32 window_seek(i32 offset, i32 origin)
{
    if (window.is_pipe) {
        return -1;
    }
    i64 from = origin == kFromStart ? 0 : window.position;
    if (origin == kFromEnd) {
        from = platform::_llseek(window.file, 0, kFromEnd);
        window.file_position = from < 0 ? kUnknownPosition : from;
    }
    const i64 target = from + offset;
    if (from < 0 || target < 0 || target > kMostPosition) {
        return -1;
    }
    window.position = target;
    return static_cast<i32>(target);
}

u32 window_read(void* buffer, u32 count)
{
    u8* const to = static_cast<u8*>(buffer);
    u32 done = take_from_panes(to, count);
    while (done < count) {
        const u32 left = count - done;
        if (left >= kPaneBytes || window.is_pipe) {
            const u32 came = file_read(window.position, to + done, left);
            window.position += came;
            return done + came;
        }
        fill_pane(left);
        const u32 came = take_from_panes(to + done, left);
        if (came == 0) {
            break;
        }
        done += came;
    }
    return done;
}

std::span<const u8> window_borrow(StreamHandle stream, u32 least)
{
    if (!window_covers(stream)) {
        return {};
    }
    i32 i = pane_at(window.position);
    const auto held = [&] {
        return i < 0 ? 0 : window.panes[i].fill - static_cast<u32>(window.position - window.panes[i].start);
    };
    if (held() < least || i < 0) {
        fill_pane(least);
        i = pane_at(window.position);
    }
    if (i < 0) {
        return {};
    }
    return {pane_bytes[i] + (window.position - window.panes[i].start), held()};
}

void window_skip(u32 count)
{
    window.position += count;
}

StreamWindow::StreamWindow(StreamHandle stream) : kind_(Kind::None)
{
    if (window.file >= 0) {
        kind_ = Kind::Suspending;
        ++window.suspended;
        return;
    }
    if (stream == MEMORY_STREAM || stream < 0) {
        return;
    }
    kind_ = Kind::Working;
    const i32 here = platform::_llseek(stream, 0, kFromHere);
    window = {.file = stream,
              .suspended = 0,
              .is_pipe = here < 0,
              .position = std::max(here, 0),
              .file_position = std::max(here, 0),
              .panes = {},
              .current = 0};
}

StreamWindow::~StreamWindow()
{
    if (kind_ == Kind::Suspending) {
        --window.suspended;
        window.file_position = kUnknownPosition;
    } else if (kind_ == Kind::Working) {
        if (!window.is_pipe && window.file_position != window.position) {
            platform::_llseek(window.file, static_cast<i32>(window.position), kFromStart);
        }
        window.file = -1;
    }
}

}  // namespace orv
