// The run-length code of PCX. A byte whose two top bits are set gives in its low six bits how often the
// byte behind it is repeated; any other byte stands for itself.
#pragma once

#include "frame/chunk_reader.h"

namespace orv
{

inline constexpr u8 kPcxRunMark = 0xC0;
inline constexpr u32 kPcxLongestRun = 63;

// Room that the functions below need, beyond what they fill or use, so that they can work in whole
// words: behind a line, behind the bytes of a plane and behind its code.
inline constexpr u32 kPcxLineSlack = 80;
inline constexpr u32 kPcxPlaneSlack = 16;
inline constexpr u32 kPcxCodeSlack = 32;

// Decodes `length` bytes to `line`. A run that goes on behind them loses its surplus. False when the
// data ends first.
bool pcx_decode_line(ChunkReader& in, u8* line, u32 length);

// Codes the `count` bytes of a plane, at most two bytes for each. Gives the size of the code.
u32 pcx_code_plane(const u8* data, u32 count, u8* code);

// The same byte by byte.
bool pcx_decode_line_plain(ChunkReader& in, u8* line, u32 length);
u32 pcx_code_plane_plain(const u8* data, u32 count, u8* code);

}  // namespace orv
