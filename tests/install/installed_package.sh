#!/bin/sh
# usage: installed_package.sh BUILD_FOLDER
# Installs the built library into a scratch folder, then builds and runs a program against it,
# found once by CMake and once by pkg-config.
set -eu
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" > /dev/null

mkdir "$work/user"
cat > "$work/user/user.c" << 'END'
#include <korvan/random.h>
int main(void) {
    StreamHandle stream;
    uint32_t word;
    if (vslNewStream(&stream, GEN_MCG31, 5) != RNG_OK) return 1;
    if (viRngUniformBits(METHOD_UNIFORMBITS_STD, stream, 1, &word) != RNG_OK) return 1;
    return word == 5 ? vslDeleteStream(&stream) : 1;
}
END
cat > "$work/user/CMakeLists.txt" << 'END'
cmake_minimum_required(VERSION 3.25)
project(user LANGUAGES C)
find_package(korvan_random 6.2 REQUIRED)
add_executable(user user.c)
target_link_libraries(user PRIVATE korvan::random)
END
cmake -G Ninja -S "$work/user" -B "$work/user/build" -DCMAKE_PREFIX_PATH="$work/prefix" > "$work/log"
cmake --build "$work/user/build" >> "$work/log"
"$work/user/build/user"

libraries=$(dirname "$(find "$work/prefix" -name libkorvan_random.so)")
export PKG_CONFIG_PATH="$libraries/pkgconfig" LD_LIBRARY_PATH="$libraries"
cc "$work/user/user.c" $(pkg-config --cflags --libs korvan_random) -o "$work/user/plain"
"$work/user/plain"
test "$(pkg-config --modversion korvan_random)" = 6.2.0
