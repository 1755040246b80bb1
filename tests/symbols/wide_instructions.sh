#!/bin/sh
# usage: wide_instructions.sh object...
# The objects that are compiled once, without processor flags, hold VEX instructions in the named
# functions only, and those ask for them by a target of their own.
set -eu
allowed='run256'

found=$(objdump -d -C --no-show-raw-insn "$@" | awk -F'\t' -v allowed="$allowed" '
    /^[0-9a-f]+ <.*>:$/ { function_name = $0 }
    NF >= 2 && $2 ~ /^v[a-z]/ && $2 !~ /^ver[rw]/ {
        if (function_name ~ ("::" allowed "\\(")) ++expected
        else print function_name ": " $2
    }
    END { if (!expected) print "no VEX instruction in " allowed ": this test sees nothing" }')
[ -z "$found" ] || { echo "$found"; exit 1; }
