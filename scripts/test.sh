#!/bin/sh
# usage: scripts/test.sh [PRESET] [CTEST OPTION]...
# Installs what is missing, builds everything of the preset and runs its tests.
# PRESET is release (without one), debug, sanitize, threads or clang; `scripts/test.sh debug -R
# philox` runs the tests whose names hold philox.
set -eu
cd "$(dirname "$0")/.."

preset=release
case ${1-} in
    '' | -*) ;;
    release | debug | sanitize | threads | clang) preset=$1 && shift ;;
    *) sed -n '2,5s/^# //p' "$0" >&2 && exit 2 ;;
esac

scripts/setup.sh build
[ "$preset" != clang ] || scripts/setup.sh clang
cmake --preset "$preset"
cmake --build --preset "$preset" -j "$(nproc)"
exec ctest --preset "$preset" --no-tests=error -j "$(nproc)" "$@"
