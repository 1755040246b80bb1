#!/bin/sh
# usage: include_directions.sh REPOSITORY
# Includes run one way, a law includes no law of another kind, kernel-only headers are named
# -inl.h, and a file's name tells which one it is.
set -eu
cd "$1"
failed=0
# allow FOLDER FOLDER...: where the headers are that files of the first one may include.
allow() {
    folder=$1 && shift
    wrong=$(find "$folder" -maxdepth 1 -name '*.cpp' -o -maxdepth 1 -name '*.h' |
        xargs grep -oE '^#include "[^"]+' | sed 's/#include "//' |
        grep -vE ":($(echo "$@" | tr ' ' '|'))/[^/]+$") || return 0
    echo "$wrong" && failed=1
}
below='frame korvan'
allow frame/platform frame/platform
allow frame frame frame/platform korvan
allow streams streams $below frame/platform
allow vectormath vectormath $below frame/platform hwy
allow generators generators streams $below hwy
law='distributions distributions/shared vectormath generators streams frame korvan hwy'
allow distributions/shared $law
allow distributions/continuous distributions/continuous $law
allow distributions/discrete distributions/discrete $law
laws='distributions distributions/shared distributions/discrete'
allow copies copies $laws vectormath generators streams frame
allow exports exports generators streams frame korvan

# Those of declarations aside.
headers=$(grep -lE 'namespace korvan::KORVAN_COPY \{' */*.h */*/*.h |
    xargs grep -LE '^(extern|KORVAN_|#define)' | grep -v -e '-inl\.h$' || true)
[ -z "$headers" ] || { echo "not named -inl.h: $headers" && failed=1; }
twice=$(ls frame frame/platform streams vectormath generators distributions/* copies exports |
    grep -E '\.(cpp|h)$' | sort | uniq -d)
[ -z "$twice" ] || { echo "more than one: $twice" && failed=1; }
exit $failed
