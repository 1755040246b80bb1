#!/bin/sh
# usage: exported_symbols.sh random.h libkorvan_random.so
# What the library exports is exactly what its header declares, and it needs no OpenMP runtime to load.
set -eu
header=$1 library=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
grep -vE '^( \*|#)' "$header" | tr '\n' ' ' |
    grep -oE 'KORVAN_RANDOM_API [a-z0-9_ ]+\*? ?[A-Za-z0-9_]+\(' |
    sed -E 's/.*[ *]([A-Za-z0-9_]+)\($/\1/' | sort > "$work/declared"
nm -D --defined-only "$library" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' |
    grep -vE '^__(asan|ubsan|lsan|sanitizer|odr)' | sort > "$work/exported"
test -s "$work/declared"
diff "$work/declared" "$work/exported" && echo "$(wc -l < "$work/declared") functions exported"
if readelf -d "$library" | grep NEEDED | grep -E 'omp|iomp'; then exit 1; fi
