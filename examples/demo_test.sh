#!/bin/sh
# usage: demo_test.sh korvan_demo
# Runs the demo as a user would: sensible values come out close to the exact ones, wrong ones are
# refused with status 2 and a message that names them.
set -eu
demo=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
complain() { echo "demo: $*"; failed=1; }

# Every estimate within five standard errors: for a sound generator, one failure in a million.
"$demo" --paths 400001 --seed=5 --rate -0.02 --strike 95 > "$work/out" 2> "$work/err"
test ! -s "$work/err" || complain "wrote to stderr: $(cat "$work/err")"
estimates=$(grep -cE '[+-][0-9.]+ s\.e\.' "$work/out" || true)
test "$estimates" -ge 4 || complain "only $estimates estimates"
awk '$5 == "s.e." && ($4 > 5 || $4 < -5)' "$work/out" > "$work/far"
test ! -s "$work/far" || complain "far from the exact value: $(cat "$work/far")"

"$demo" --help | grep -q -- '--volatility' || complain "no help"

# The closed form's worked example in J. C. Hull, Options, Futures and Other Derivatives: 4.76.
"$demo" --generator mcg31M1 --paths 1000 --spot 42 --strike 40 --rate 0.1 --volatility 0.2 \
    --years 0.5 > "$work/out"
grep -q '4\.759422' "$work/out" || complain "the closed form"

refuses() { # refuses MESSAGE ARGUMENT...
    message=$1 && shift
    status=0
    "$demo" "$@" > "$work/out" 2> "$work/err" || status=$?
    test $status -eq 2 || complain "status $status for $*"
    test ! -s "$work/out" || complain "output for $*"
    grep -qF -- "$message" "$work/err" || complain "for $*: $(cat "$work/err")"
}
refuses "--paths: 'many' is not a whole number from 1 to 1e+12" --paths many
refuses "--paths: '10x'" --paths 10x
refuses "--paths: '1.5'" --paths 1.5
refuses "--paths: '0'" --paths=0
refuses "--seed: '4294967296' is not a whole number from 0 to 4294967295" --seed 4294967296
refuses "--seed: ''" --seed ''
refuses "--volatility: 'nan'" --volatility nan
refuses "--spot: '-1'" --spot -1
refuses "--years: its value is missing" --years
refuses "--generator: 'mt' is not one of all, MCG31m1" --generator mt
refuses "'42' is not an option" 42
exit $failed
