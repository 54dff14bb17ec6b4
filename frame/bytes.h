// Numbers in byte buffers, without regard to alignment or the host's byte order.
#pragma once

#include "frame/types.h"

namespace orv
{

static inline u16 load_le16(const u8* p)
{
    return static_cast<u16>(p[0] | p[1] << 8);
}
static inline u16 load_be16(const u8* p)
{
    return static_cast<u16>(p[0] << 8 | p[1]);
}

static inline u32 load_le32(const u8* p)
{
    return static_cast<u32>(p[0]) | static_cast<u32>(p[1]) << 8 | static_cast<u32>(p[2]) << 16 |
           static_cast<u32>(p[3]) << 24;
}

static inline u32 load_be32(const u8* p)
{
    return static_cast<u32>(p[0]) << 24 | static_cast<u32>(p[1]) << 16 | static_cast<u32>(p[2]) << 8 |
           static_cast<u32>(p[3]);
}

static inline u64 load_le64(const u8* p)
{
    return u64{load_le32(p)} | u64{load_le32(p + 4)} << 32;
}

static inline u64 load_be64(const u8* p)
{
    return u64{load_be32(p)} << 32 | load_be32(p + 4);
}

static inline void store_le16(u8* p, u32 value)
{
    p[0] = static_cast<u8>(value);
    p[1] = static_cast<u8>(value >> 8);
}

static inline void store_le32(u8* p, u32 value)
{
    store_le16(p, value);
    store_le16(p + 2, value >> 16);
}

static inline void store_be16(u8* p, u32 value)
{
    p[0] = static_cast<u8>(value >> 8);
    p[1] = static_cast<u8>(value);
}

static inline void store_be32(u8* p, u32 value)
{
    store_be16(p, value >> 16);
    store_be16(p + 2, value);
}

static inline void store_be64(u8* p, u64 value)
{
    store_be32(p, static_cast<u32>(value >> 32));
    store_be32(p + 4, static_cast<u32>(value));
}

static inline void store_le64(u8* p, u64 value)
{
    store_le32(p, static_cast<u32>(value));
    store_le32(p + 4, static_cast<u32>(value >> 32));
}

}  // namespace orv
