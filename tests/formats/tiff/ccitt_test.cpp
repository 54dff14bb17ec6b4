// The CCITT decoders against a plain one that takes the data bit by bit and code by code.
#include <gtest/gtest.h>

#include <random>

#include "formats/tiff/ccitt_lookup.h"
#include "tests/formats/tiff/tiff_build.h"

namespace orv::test
{
namespace
{

using Line = std::vector<bool>;  // true is black

struct Plain {
    std::vector<bool> bits;
    usize pos = 0;

    explicit Plain(std::span<const u8> data)
    {
        for (const u8 byte : data) {
            for (int i = 7; i >= 0; --i) {
                bits.push_back(byte >> i & 1);
            }
        }
    }
    bool ended() const { return pos >= bits.size(); }
    bool next_is(const CcittCode& code) const
    {
        for (usize i = 0; i < code.length; ++i) {
            const usize at = pos + i;
            if ((at < bits.size() && bits[at]) != ((code.bits >> (code.length - 1 - i) & 1) != 0)) {
                return false;
            }
        }
        return code.length > 0;
    }
    // A run, 4095 for EOL, -1 at the end of the data.
    int read_run(bool black)
    {
        for (; !ended(); ++pos) {
            const CcittRunCodes& codes = black ? ccitt_black_codes : ccitt_white_codes;
            for (usize i = 0; i < codes.size(); ++i) {
                if (next_is(codes[i])) {
                    pos += codes[i].length;
                    return ccitt_run_of(static_cast<i32>(i));
                }
            }
            if (next_is(ccitt_eol)) {
                pos += ccitt_eol.length;
                return kCcittEolRun;
            }
        }
        return -1;
    }
    int finish_run(bool black, int run)
    {
        for (int code = run; code >= 64; run = std::min(run + code, 1 << 20)) {
            if ((code = read_run(black)) < 0) {
                return -1;
            }
        }
        return run;
    }
};

void paint(Line& line, int first, int count)
{
    for (int x = std::max(first, 0); x < first + count && x < static_cast<int>(line.size()); ++x) {
        line[static_cast<usize>(x)] = true;
    }
}

std::vector<Line> plain_1d(Plain in, int width, int rows, bool aligned)
{
    std::vector<Line> lines;
    Line previous(static_cast<usize>(width));
    while (static_cast<int>(lines.size()) < rows) {
        Line line(static_cast<usize>(width));
        bool failed = false;
        bool at_start = true;
        bool black = false;
        for (int x = 0; x < width; black = !black) {
            int run = in.read_run(black);
            while (run == kCcittEolRun && at_start) {
                run = in.read_run(black);
            }
            if (run == kCcittEolRun) {
                failed = true;
                break;
            }
            run = in.finish_run(black, run);
            if (run < 0) {
                return lines;
            }
            at_start = false;
            failed = x + run > width;
            if (black && !failed) {
                paint(line, x, run);
            }
            x += run;
        }
        previous = failed ? previous : line;
        lines.push_back(previous);
        in.pos = aligned ? (in.pos + 7) / 8 * 8 : in.pos;
    }
    return lines;
}

// One T.6 line; false where the strip ends in it.
bool plain_t6_line(Plain& in, int width, const std::vector<int>& above, std::vector<int>& changes, Line& line)
{
    static const int kShifts[] = {0, 0, 0, -3, -2, -1, 0, 1, 2, 3};
    int a0 = 0;
    int b = 2;  // both lists have two entries of -1 ahead
    bool black = false;
    while (a0 < width) {
        usize mode = 1;
        while (mode < kCcittModes && !in.next_is(ccitt_mode_codes[mode])) {
            ++mode;
        }
        if (in.ended() || mode == kCcittModes) {
            return false;
        }
        in.pos += ccitt_mode_codes[mode].length;
        const int from = a0;
        if (mode == kModePass) {
            a0 = above[static_cast<usize>(b + 1)];
            b += 2;
            paint(line, from, black ? a0 - from : 0);
            continue;
        }
        for (int half = 0; mode == kModeHorizontal && half < 2; ++half, black = !black) {
            const int run = in.finish_run(black, in.read_run(black));
            if (run < 0) {
                return false;
            }
            paint(line, a0, black ? std::min(run, width - a0) : 0);
            a0 += std::min(run, width - a0);
            changes.push_back(a0);
        }
        if (mode != kModeHorizontal) {
            a0 = above[static_cast<usize>(b++)] + kShifts[mode];
            changes.push_back(a0);
            b -= kShifts[mode] < 0 ? 2 : 0;
            if (b < 0) {
                return false;
            }
            paint(line, from, black ? a0 - from : 0);
            black = !black;
        }
        while (mode != kModeV0 && a0 < width && above[static_cast<usize>(b)] <= a0) {
            b += 2;
        }
        if (static_cast<int>(changes.size()) > width + 90) {
            return false;
        }
    }
    return true;
}

std::vector<Line> plain_t6(Plain in, int width, int rows)
{
    std::vector<Line> lines;
    std::vector<int> above = {-1, -1, width, width, width + 1, width + 1};
    for (bool more = true; more && !in.ended() && static_cast<int>(lines.size()) < rows;) {
        std::vector<int> changes = {-1, -1};
        Line line(static_cast<usize>(width));
        more = plain_t6_line(in, width, above, changes, line);
        lines.push_back(line);
        changes.insert(changes.end(), {width, width, width + 1, width + 1});
        above = changes;
    }
    return lines;
}

// Data of all kinds: lines as coders make them, the same with some bits turned over, noise, and noise of
// mostly zeros.
std::vector<u8> make_data(std::mt19937& random, int kind, int mode, int width)
{
    std::vector<bool> bits;
    const auto below = [&](int limit) { return static_cast<int>(random() % static_cast<u32>(limit)); };
    const auto add = [&](const CcittCode& code) {
        for (int i = code.length - 1; i >= 0; --i) {
            bits.push_back((code.bits >> i & 1) != (kind == 1 && below(200) == 0));
        }
    };
    const auto add_run = [&](bool black, int run) {
        const CcittRunCodes& codes = black ? ccitt_black_codes : ccitt_white_codes;
        for (; run >= 2560 + 64; run -= 2560) {
            add(codes[kCcittCodes - 1]);
        }
        if (run >= 64) {
            add(codes[static_cast<usize>(63 + run / 64)]);
        }
        add(codes[static_cast<usize>(run % 64)]);
    };
    while (bits.size() < 3000) {
        if (kind >= 2) {
            bits.push_back(below(kind == 2 ? 2 : 9) == 0);
        } else if (mode == 4) {
            const int code = below(3) == 0 ? kModeV0 : 1 + below(9);
            for (int n = code == kModeV0 && below(9) == 0 ? below(90) : 0; n >= 0; --n) {
                add(ccitt_mode_codes[static_cast<usize>(code)]);
            }
            for (int half = 0; code == kModeHorizontal && half < 2; ++half) {
                add_run(half == 1, below(below(4) == 0 ? width : 12));
            }
        } else {
            if (below(3) == 0) {
                add(ccitt_eol);
            }
            bool black = false;
            for (int x = 0, run = 0; x < width; x += run, black = !black) {
                run = std::min(below(below(9) == 0 ? 2 * width : 40), width - x);
                add_run(black, run);
            }
            bits.resize(mode == 2 ? (bits.size() + 7) / 8 * 8 : bits.size());
        }
    }
    std::vector<u8> data(bits.size() / 8);
    for (usize i = 0; i < data.size() * 8; ++i) {
        data[i / 8] = static_cast<u8>(data[i / 8] | bits[i] << (7 - i % 8));
    }
    return data;
}

void compare(std::span<const u8> data, int mode, int width, int rows)
{
    const std::vector<u8> file = make_tiff({{256, 4, 1, static_cast<u32>(width)},
                                            {257, 4, 1, static_cast<u32>(rows)},
                                            {259, 3, 1, static_cast<u32>(mode)},
                                            {262, 3, 1, 0},
                                            {273, 4, 1, kDataPosition},
                                            {282, 4, 1, 200},
                                            {283, 4, 1, 200}},
                                           data);
    const Streamed streamed = stream_file(file);
    const std::vector<Line> lines =
        mode == 4 ? plain_t6(Plain(data), width, rows) : plain_1d(Plain(data), width, rows, mode == 2);
    ASSERT_EQ(streamed.rows.size(), lines.size());
    for (usize y = 0; y < lines.size(); ++y) {
        for (usize x = 0; x < lines[y].size(); ++x) {
            ASSERT_EQ((streamed.rows[y].second[x / 8] >> (7 - x % 8) & 1) == 0, lines[y][x])
                << "row " << y << ", pixel " << x;
        }
    }
}

TEST(Ccitt, SameAsPlainDecoder)
{
    std::mt19937 random(1);
    for (int i = 0; i < 3000; ++i) {
        const int mode = 2 + i % 3;
        const int kind = i / 3 % 4;
        const int width = i % 7 == 0 ? 5000 : static_cast<int>(1 + random() % 200);
        SCOPED_TRACE("case " + std::to_string(i) + ", mode " + std::to_string(mode) + ", width " +
                     std::to_string(width));
        ASSERT_NO_FATAL_FAILURE(compare(make_data(random, kind, mode, width), mode, width, 60));
    }
}

}  // namespace
}  // namespace orv::test
