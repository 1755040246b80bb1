#!/bin/sh
# usage: plain_instructions.sh object...
# No VEX or EVEX instruction in these objects.
set -eu
for object in "$@"; do
    listing=$(objdump -d --no-show-raw-insn "$object" | awk -F'\t' 'NF >= 2 { print $2 }')
    test -n "$listing"
    if echo "$listing" | grep -E '^v[a-z]' | grep -vE '^ver[rw]'; then exit 1; fi
done
