#!/bin/sh
# usage: scripts/fuzz.sh [SECONDS]
# Builds the fuzzing target of stream images under the sanitizers and runs it with libFuzzer, on
# every core, for SECONDS (default 60).  A finding is left as build/fuzz/finding-*; what widened the
# coverage stays in build/fuzz/corpus for the next run.
set -eu
cd "$(dirname "$0")/.."

scripts/setup.sh build clang
cmake --preset fuzz > /dev/null
cmake --build --preset fuzz -j "$(nproc)" --target image_fuzzer
mkdir -p build/fuzz/corpus
cd build/fuzz
exec tests/image_fuzzer -max_total_time="${1-60}" -fork="$(nproc)" \
    -artifact_prefix=finding- corpus ../../tests/data/images
