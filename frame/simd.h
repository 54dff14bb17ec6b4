// Wider vectors where the machine has them: functions marked so are built in several versions.
#pragma once

#if defined(__x86_64__) && defined(__linux__) && !defined(ORV_NO_TARGET_CLONES) && !defined(__clang__)
#define ORV_TARGET_CLONES [[gnu::target_clones("avx2", "default")]]
#else
#define ORV_TARGET_CLONES
#endif
