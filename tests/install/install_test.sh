#!/bin/bash
# install_test.sh SOURCES BUILD CC CXX [FLAG...]: headers compile as C99 and C++; a program builds on an install
# tree by pkg-config alone and by find_package, and works.
set -euo pipefail
sources=$1 build=$2 cc=$3 cxx=$4
shift 4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/tree" >/dev/null
for header in "$work"/tree/include/orvimg32/*.h; do
    printf '#include <orvimg32/%s>\nint main(void) { return 0; }\n' "${header##*/}" | tee "$work/h.c" >"$work/h.cpp"
    "$cc" "$@" -std=c99 -pedantic -Wall -Wextra -Werror -I"$work/tree/include" -c "$work/h.c" -o "$work/h.o"
    "$cxx" "$@" -std=c++17 -pedantic -Wall -Wextra -Werror -I"$work/tree/include" -c "$work/h.cpp" -o "$work/h.o"
done

PKG_CONFIG_PATH=$(dirname "$(find "$work/tree" -name orvimg32.pc)")
export PKG_CONFIG_PATH
# shellcheck disable=SC2046
"$cc" "$@" -std=c99 -pedantic -Wall -Wextra -Werror $(pkg-config --cflags orvimg32) "$sources/examples/crop.c" \
    $(pkg-config --libs orvimg32) -o "$work/crop"

crop() {
    "$@" "$sources/tests/data/bmp/im_24.bmp" "$work/out.bmp" 5 3 20 10
    convert-im6.q16 "$sources/tests/data/bmp/im_24.bmp" -crop 20x10+5+3 +repage ppm:"$work/expected.ppm"
    convert-im6.q16 "$work/out.bmp" ppm:"$work/cropped.ppm"
    cmp "$work/expected.ppm" "$work/cropped.ppm"
    rm "$work/out.bmp"
}
crop env LD_LIBRARY_PATH="$(pkg-config --variable=libdir orvimg32)" "$work/crop"

cat >"$work/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES C CXX)
find_package(OrvImg32 1.0 REQUIRED)
add_executable(crop_shared ${CROP})
target_link_libraries(crop_shared OrvImg32::orvimg32)
add_executable(crop_static ${CROP})
target_link_libraries(crop_static OrvImg32::orvimg32_static)
CMAKE
cmake -G Ninja -S "$work" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/tree" -DCROP="$sources/examples/crop.c" \
    -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_C_FLAGS="$*" -DCMAKE_CXX_FLAGS="$*" >/dev/null
cmake --build "$work/consumer" >/dev/null
crop "$work/consumer/crop_shared"
crop "$work/consumer/crop_static"
# As a part of another project: the targets are there, and sources find what they include.
mkdir "$work/inside"
cat >"$work/inside/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(whole LANGUAGES C CXX)
include(FetchContent)
FetchContent_Declare(orvimg32 SOURCE_DIR ${ORV_SOURCES})
FetchContent_MakeAvailable(orvimg32)
add_executable(crop ${ORV_SOURCES}/examples/crop.c)
target_link_libraries(crop OrvImg32::orvimg32)
CMAKE
cmake -G Ninja -S "$work/inside" -B "$work/whole" -DORV_SOURCES="$sources" -DCMAKE_C_COMPILER="$cc" \
    -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_C_FLAGS="$*" -DCMAKE_CXX_FLAGS="$*" >/dev/null
ninja -C "$work/whole" CMakeFiles/crop.dir"$sources"/examples/crop.c.o \
    _deps/orvimg32-build/CMakeFiles/orv_objects.dir/frame/rows.cpp.o >/dev/null
[ ! -e "$work/tree/bin/orvimg" ] || "$work/tree/bin/orvimg" --version >/dev/null
[ ! -e "$work/tree/bin/orvimg" ] || /usr/bin/python3 "$sources/tests/install/completion_test.py" "$work/tree"
[ ! -e "$work/tree/share/man/man1/orvimg.1" ] || man --warnings -l "$work/tree/share/man/man1/orvimg.1" >/dev/null
echo "installed, compiled, cropped"
