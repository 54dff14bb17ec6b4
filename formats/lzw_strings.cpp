#include "formats/lzw_strings.h"

#include "frame/bytes.h"

namespace orv
{
namespace
{

constexpr u32 kTailBytes = 8;

}  // namespace

void lzw_set_roots(LzwDictionary& dictionary, u8* window, u32 clear)
{
    for (u32 i = 0; i < kLzwRoots; ++i) {
        window[i] = static_cast<u8>(i);
        dictionary.strings[i] = {.place = i, .length = 1, .prefix = 0};
        dictionary.tails[i] = {.tail = i, .rest = 0};
    }
    dictionary.strings[clear].length = kLzwNoPlace;
    dictionary.strings[clear + 1].length = kLzwNoPlace;
    dictionary.strings[clear].place = dictionary.strings[clear + 1].place = 0;
}

// The second form of all strings that do not have it is made.
void lzw_forget_places(LzwDictionary& dictionary, const u8* window, u32 first, u32 next)
{
    for (u32 code = dictionary.tails_made; code < next; ++code) {
        const LzwString& string = dictionary.strings[code];
        const u32 start = (string.length - 1U) & ~(kTailBytes - 1);
        LzwTail& tail = dictionary.tails[code];
        tail.tail = load_le64(window + string.place + start);
        tail.rest = start + 1 == string.length ? string.prefix : dictionary.tails[string.prefix].rest;
    }
    dictionary.tails_made = next;
    for (u32 code = first; code < next; ++code) {
        dictionary.strings[code].length |= kLzwNoPlace;
    }
}

// From its end to its start. The string gets the place.
u32 lzw_write_tails(LzwDictionary& dictionary, u8* window, u32 code, u32 at)
{
    LzwString& string = dictionary.strings[code];
    const u32 length = string.length & ~u32{kLzwNoPlace};
    for (u32 start = (length - 1) & ~(kTailBytes - 1);; start -= kTailBytes) {
        const LzwTail& tail = dictionary.tails[code];
        store_le64(window + at + start, tail.tail);
        if (start == 0) {
            break;
        }
        code = tail.rest;
    }
    string.place = at;
    string.length = static_cast<u16>(length);
    return length;
}

}  // namespace orv
