# Compiler settings in one place: warnings, exactness, sanitizers.

add_library(orv_warnings INTERFACE)
target_compile_options(orv_warnings INTERFACE
    -Wall -Wextra -Wconversion -Wshadow -Wcast-qual -Wundef -Wimplicit-fallthrough -Werror
    $<$<COMPILE_LANGUAGE:CXX>:-Wmissing-declarations>)

# Results are fixed to the bit: no contraction of floating-point terms.
add_compile_options(-ffp-contract=off)

# Sizes and positions of files have 64 bits on 32-bit hosts too.
add_compile_definitions(_FILE_OFFSET_BITS=64)

# The library proper: plain functions, hidden but for the exported names.
set(ORV_LIBRARY_OPTIONS -fvisibility=hidden -fvisibility-inlines-hidden -fno-exceptions -fno-rtti
    -fno-threadsafe-statics -fno-asynchronous-unwind-tables)

if(ORV_SANITIZE)
    add_compile_options(-fsanitize=${ORV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
    add_link_options(-fsanitize=${ORV_SANITIZE})
    # Functions in several versions are picked before the sanitizers' runtime is up.
    add_compile_definitions(ORV_NO_TARGET_CLONES)
endif()

if(ORV_BUILD_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
