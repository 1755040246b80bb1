#!/bin/sh
# usage: tests/record_digests.sh LIBRARY_TESTS
# Records tests/data/digests.csv anew with that program, on a processor that runs every copy.  For a
# change that is meant to change numbers; CHANGELOG.md says so then.
set -eu
tests=$(realpath "$1")
cd "$(dirname "$0")/data"
work=$(mktemp -d)
trap 'rm -r "$work"' EXIT
for branch in 0 3 9 11; do
    QVX_OVERRIDE_BRANCH_ID=$branch KORVAN_RECORD=$work/$branch \
        "$tests" --gtest_filter='Digests.*' > /dev/null
    cut -d, -f3 "$work/$branch" > "$work/$branch.column"
done
{
    echo "# FNV-1a of what each routine gives (library/digests_test.cpp), by stream and copy"
    echo "routine,stream,base,sse3,avx2,avx512"
    cut -d, -f1,2 "$work/0" |
        paste -d, - "$work/0.column" "$work/3.column" "$work/9.column" "$work/11.column"
} > "$work/all"
mv "$work/all" digests.csv
chmod 644 digests.csv
