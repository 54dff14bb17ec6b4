// Harness for hostile input and failing hosts. Each function fails the test where a load or save leaves
// a block behind, breaks a promise of the streaming callbacks, or gives a result that it must not.
#pragma once

#include <functional>
#include <span>

#include "frame/types.h"

namespace orv::test
{

// Loads `file` from a block that ends where the file ends, streaming and into a handle: the results.
struct LoadResults {
    i16 streamed = 0;
    i16 loaded = 0;
};
LoadResults check_load(std::span<const u8> file, int page = 0);

// The file cut at every length; behind the first 640 bytes, where headers lie, at every `step`th.
void check_all_truncations(std::span<const u8> file, usize step = 1);

// `count` copies with one to eight changed bytes, most of them near the start.
void check_mutations(std::span<const u8> file, int count, unsigned seed);

// Both, for every fixture of a folder below tests/data.
void check_fixtures(const char* folder, int mutations, usize step = 1);

// Runs `job` once for each allocation that it makes, with that one failing: the result must be
// kOutOfMemory or success, and no block may be left. The job gives back what it made.
void check_allocations(const std::function<i16()>& job);

// Runs `job` once for each write to a file that it makes, with that one a byte short, and once with its last
// close failing: kShortWrite.
void check_short_writes(const std::function<i16()>& job);

}  // namespace orv::test
