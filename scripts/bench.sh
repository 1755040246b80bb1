#!/bin/sh
# usage: scripts/bench.sh [--quick] [--copy NAME] [--filter REGEX] [--output FILE]
# Builds the benchmarks, runs them on one core with interleaved repetitions, and prints a report
# in Markdown: medians, and ratios to the fastest peer and to the memory's limit.
#   --quick          fewer and shorter repetitions: for a look, not for a record
#   --copy NAME      a copy of copies/copies.def in place of the processor's own
#   --filter REGEX   only the rows that match, such as '^doubles' or 'Philox|limit|peer'
#   --output FILE    where the report goes as well; FILE.json gets the raw times
set -eu
usage() { sed -n '2,8s/^# //p' "$0" >&2 && exit 2; }

repetitions=9 least_time=0.05 copy='' filter=. output=''
while [ $# -gt 0 ]; do
    case $1 in
        --quick) repetitions=3 least_time=0.01 && shift && continue ;;
        --copy | --filter | --output) ;;
        *) usage ;;
    esac
    [ $# -ge 2 ] || usage
    case $1 in
        --copy) copy=$2 ;;
        --filter) filter=$2 ;;
        --output) output=$(realpath "$2") ;;
    esac
    shift 2
done
cd "$(dirname "$0")/.."

branch=
if [ -n "$copy" ]; then
    branch=$(sed -n "s/^KORVAN_COPY_ROW($copy, \([0-9]*\),.*/\1/p" copies/copies.def)
    if [ -z "$branch" ]; then
        names=$(sed -n 's/^KORVAN_COPY_ROW(\([a-z0-9]*\),.*/\1/p' copies/copies.def | xargs)
        echo "bench.sh: --copy: '$copy' is not one of $names" >&2
        exit 2
    fi
fi

scripts/setup.sh build bench
cmake --preset bench > /dev/null
cmake --build --preset bench -j "$(nproc)" >&2

times=build/bench/times.json
[ -z "$output" ] || times=$output.json
[ -n "$branch" ] && export QVX_OVERRIDE_BRANCH_ID="$branch"
core=$(($(nproc) - 1))
taskset -c "$core" build/bench/benchmarks/korvan_benchmarks \
    --benchmark_filter="$filter" --benchmark_repetitions=$repetitions \
    --benchmark_min_time=$least_time --benchmark_enable_random_interleaving=true \
    --benchmark_format=console --benchmark_display_aggregates_only=true \
    --benchmark_out="$times" --benchmark_out_format=json > /dev/null

if [ -n "$output" ]; then
    python3 scripts/bench_report.py "$times" $copy > "$output"
    cat "$output"
else
    python3 scripts/bench_report.py "$times" $copy
fi
