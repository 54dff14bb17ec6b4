// Where a function may be compiled for wider registers beside the baseline, picked when the library is
// loaded. Results do not depend on it.
#pragma once

#if defined(__x86_64__) && defined(__linux__) && !defined(ORV_NO_TARGET_CLONES) && !defined(__clang__)
#define ORV_TARGET_CLONES [[gnu::target_clones("avx2", "default")]]
#else
#define ORV_TARGET_CLONES
#endif
