#!/bin/sh
# usage: hermetic_copy.sh copy features object...
# The objects of one compiled copy leave nothing that the linker could merge with another copy's,
# run nothing at load, and hold no instruction that the copy's processors lack.
set -eu
copy=$1 features=$2
shift 2
failed=0
complain() { echo "$copy: $*"; failed=1; }

for object in "$@"; do
    merged=$(nm "$object" | awk '$(NF-1) ~ /^[WVuvw]$/ { print $NF }')
    [ -z "$merged" ] || complain "$object: mergeable symbols: $merged"
    foreign=$(nm --defined-only --extern-only "$object" | awk '{ print $NF }' |
        grep -vE "^_ZN(K?)6korvan${#copy}$copy" || true)
    [ -z "$foreign" ] || complain "$object: global names that aren't the copy's own: $foreign"
    if readelf -SW "$object" | grep -qE '\.(init_array|ctors|preinit_array)'; then
        complain "$object: code that runs at load"
    fi
done

# Instructions by their mnemonics: VEX and EVEX forms begin with v, fused ones with vf(n)m(add|sub).
listing=$(objdump -d --no-show-raw-insn "$@" | awk -F'\t' 'NF >= 3 || /^ / { print $2 }')
lacks() { case ",$features," in *",$1,"*) return 1 ;; esac; }
uses() { echo "$listing" | grep -qE "$1"; }
if lacks avx && lacks avx2 && lacks avx512f && uses '^v[a-z]'; then complain "AVX instructions"; fi
if lacks fma && uses '^vfn?m(add|sub)'; then complain "fused instructions"; fi
if lacks avx2 && lacks avx512f && uses '%ymm.*' && uses '^vp[a-z]+ .*%ymm'; then
    complain "AVX2 instructions"
fi
if lacks avx512f && uses '%zmm|%k[0-7]'; then complain "AVX-512 instructions"; fi
if lacks ssse3 && [ "$copy" != sse41 ] && lacks sse4 && uses '^(pshufb|palignr|pabs[bwd])( |$)'; then
    case "$copy" in base | compat | sse3) complain "SSSE3 instructions" ;; esac
fi
exit $failed
