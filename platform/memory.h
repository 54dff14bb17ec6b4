// Memory blocks under the host's published names. A block is a small positive number; 0 is none. Every
// block is handed out zeroed, whatever the flags, but for GMEM_UNCLEARED.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform
{

using BlockHandle = std::int32_t;

// Flag values in use.
inline constexpr std::uint32_t GMEM_MOVEABLE = 0x2;
inline constexpr std::uint32_t GMEM_SCRATCH = 0x102;       // movable, discardable
inline constexpr std::uint32_t GMEM_SCRATCH_ZERO = 0x142;  // the same, zeroed
// Ours: the block need not be zeroed, since whoever takes it fills it before anyone else sees it.
inline constexpr std::uint32_t GMEM_UNCLEARED = 0x80000000;

// A block of `bytes` bytes, or 0.
BlockHandle GlobalAlloc(std::uint32_t flags, std::size_t bytes);
// The block's address, or null. It stays the same while the block exists; locks are counted.
void* GlobalLock(BlockHandle block);
// Undoes one lock: non-zero while locks remain.
int GlobalUnlock(BlockHandle block);
// Releases the block: 0, or the block where it is none.
BlockHandle GlobalFree(BlockHandle block);
// The block whose address this is, or 0. The address must be one that GlobalLock gave.
BlockHandle GlobalHandle(const void* pointer);
// Bytes of a block, 0 where it is none.
std::size_t GlobalSize(BlockHandle block);

BlockHandle LocalAlloc(std::uint32_t flags, std::size_t bytes);
// Grows or shrinks an unlocked block, keeping its contents: the block, or 0 with the block as it was.
BlockHandle LocalReAlloc(BlockHandle block, std::size_t bytes, std::uint32_t flags);
void* LocalLock(BlockHandle block);
int LocalUnlock(BlockHandle block);
BlockHandle LocalFree(BlockHandle block);

}  // namespace platform
