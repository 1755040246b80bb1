#!/bin/sh
# usage: scripts/accuracy.sh [--quick]
# Measures the largest errors of the vector math kernels in every copy that this processor runs,
# and writes docs/accuracy.md.  Takes minutes, and far longer for all singles; --quick leaves
# those out, tries fewer points and only prints its table.
set -eu
cd "$(dirname "$0")/.."
quick=no
case ${1-} in
    '') ;;
    --quick) quick=yes ;;
    *) sed -n '2,5s/^# //p' "$0" >&2 && exit 2 ;;
esac

scripts/setup.sh build tools
cmake --preset tools > /dev/null
cmake --build --preset tools --target accuracy >&2
accuracy=build/tools/tools/accuracy
if [ $quick = yes ]; then exec $accuracy --points 30; fi

work=$(mktemp)
trap 'rm -f "$work"' EXIT
{
    cat << 'END'
# Accuracy of vector math

Made by `scripts/accuracy.sh`. The largest errors found, against MPFR: in units of the last place
of the exact result rounded to the kernel's type (ulp), and relative to it. An error of 0.5 ulp is
that of a correctly rounded result.

Every kernel has three rows: `HA` for errors below 1 ulp, `LA` within 4 ulp, `EP` for half the
digits, 2^-26 in double and 2^-11 in single. Names with `Baseline` are the forms that
don't differ between copies: integers are made from them.

Tried for each kernel were 100,000 arguments in each of its ranges (the whole one, by bit patterns
and evenly, and those around special points), and eight neighbours on either side of each border
where its arithmetic changes; of angles, one on either side of each multiple of pi/4 up to 2^20.

END
    $accuracy --points 100
    cat << 'END'

## Every single

Of kernels of one single, against the C library's function in double (off by some 2^-28 of a
single's unit), in one copy of each vector width; from 2^-13 on, where that isn't a straight line
below:

END
    $accuracy --all-singles
} > "$work"
mv "$work" docs/accuracy.md
chmod 644 docs/accuracy.md
