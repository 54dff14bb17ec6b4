// Where a function may be compiled for wider registers beside the baseline, picked when the library is
// loaded. Results do not depend on it.
#pragma once

#if defined(__x86_64__) && defined(__linux__) && !defined(ORV_NO_TARGET_CLONES) && !defined(__clang__)
#define ORV_TARGET_CLONES [[gnu::target_clones("avx2", "default")]]
#else
#define ORV_TARGET_CLONES
#endif

// Functions between ORV_AVX2_BEGIN and ORV_AVX2_END are compiled for AVX2, where ORV_HAS_AVX2_CODE is defined;
// who calls them asks has_avx2() first.
#if defined(__x86_64__) && defined(__clang__)
#define ORV_HAS_AVX2_CODE 1
#define ORV_AVX2_BEGIN _Pragma("clang attribute push(__attribute__((target(\"avx2\"))), apply_to = function)")
#define ORV_AVX2_END _Pragma("clang attribute pop")
#elif defined(__x86_64__) && defined(__GNUC__)
#define ORV_HAS_AVX2_CODE 1
#define ORV_AVX2_BEGIN _Pragma("GCC push_options") _Pragma("GCC target(\"avx2\")")
#define ORV_AVX2_END _Pragma("GCC pop_options")
#endif

#if defined(ORV_HAS_AVX2_CODE)
static inline bool has_avx2()
{
    return __builtin_cpu_supports("avx2") != 0;
}
#endif
