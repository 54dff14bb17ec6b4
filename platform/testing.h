// Switches for tests: counting blocks and files, and making allocations and writes fail.
#pragma once

#include <cstdint>

namespace platform::testing
{

// Blocks that exist now.
int live_blocks();
// Allocations asked for since the process started, failed ones too.
std::uint64_t allocation_count();
// The n-th allocation from now fails, 1 being the next one; 0 switches it off.
void fail_allocation(int n);
// The n-th write from now moves one byte less than asked; 0 switches it off.
void shorten_write(int n);
// The n-th close from now closes and tells of a failure; 0 switches it off.
void fail_close(int n);
// The number that no file gets in the place of 32767; 0 puts it back.
void reserve_number(int number);
// Files closed since the process started.
std::uint64_t close_count();
// Writes asked for since the process started.
std::uint64_t write_count();
// Bytes in live blocks now, and the most there were since the last reset.
std::uint64_t live_bytes();
std::uint64_t peak_bytes();
void reset_peak_bytes();

}  // namespace platform::testing
