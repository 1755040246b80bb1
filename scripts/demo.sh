#!/bin/sh
# usage: scripts/demo.sh [OPTION VALUE]...        (--help lists the options)
# Installs what is missing, builds the library and the demo, and runs the demo.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)

# The build's own lines come on stderr, and only where somebody watches, or when it fails.
quietly() {
    if [ -t 2 ]; then "$@" >&2; return; fi
    log=$(mktemp)
    if "$@" > "$log" 2>&1; then rm -f "$log"; else cat "$log" >&2 && rm -f "$log" && return 1; fi
}
build() {
    cd "$root"
    quietly cmake --preset release &&
        quietly cmake --build --preset release --target korvan_demo -j "$(nproc)"
}

"$root/scripts/setup.sh" build
demo=$root/build/release/examples/korvan_demo
[ -x "$demo" ] || echo "Building the library: some two minutes on two cores, the first time." >&2
(build)
exec "$demo" "$@"
