#!/bin/sh
# usage: scripts/setup.sh GROUP...
# Installs what is missing of the Debian packages of each group:
#   build      compilers, CMake, libraries and GoogleTest: all that scripts/test.sh needs
#   clang      the second compiler
#   format     the formatter that .ci/run checks with
#   bench      the libraries that the benchmarks compare with
#   plots      what scripts/gallery.sh draws with
#   tools      what makes and checks the committed tables
#   emulator   the processor emulator of scripts/avx512.sh
# Nothing is touched when everything is there.
set -eu

packages_of() {
    case $1 in
        build) echo cmake ninja-build g++ binutils pkgconf libhwy-dev libomp-dev libmemkind-dev \
            libgtest-dev libboost-dev libgsl-dev ;;
        clang) echo clang ;;
        format) echo clang-format git ;;
        bench) echo python3-minimal util-linux libbenchmark-dev librandom123-dev libgsl-dev \
            libboost-dev libabsl-dev libdsfmt-dev libsleef-dev python3-numpy ;;
        plots) echo gnuplot-nox ;;
        tools) echo libmpfr-dev python3-minimal python3-mpmath ;;
        emulator) echo bochs bochsbios vgabios genisoimage isolinux syslinux-common cpio ;;
        *) echo "setup.sh: there is no group '$1'" >&2 && exit 2 ;;
    esac
}

wanted=
for group in "$@"; do wanted="$wanted $(packages_of "$group")"; done

system=unknown
if [ -r /etc/os-release ]; then system=$(. /etc/os-release && echo "${ID:-unknown} ${VERSION_ID:-}"); fi
if [ "$system" != "debian 12" ]; then
    cat >&2 << END
setup.sh: this is $system; packages are installed on Debian 12 only.
Install the counterparts of these, then build with 'cmake --preset release' (see README.md):
 $wanted
END
    exit 1
fi

missing=
for package in $wanted; do
    state=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2> /dev/null || true)
    [ "$state" = installed ] || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

as_root=
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo > /dev/null; then
        echo "setup.sh: run this as root or install sudo; missing packages:$missing" >&2
        exit 1
    fi
    as_root=sudo
fi
echo "Installing$missing" >&2
log=$(mktemp)
trap 'rm -f "$log"' EXIT
install_missing() {
    $as_root apt-get -q update && $as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get -q -y --no-install-recommends install $missing
}
if ! install_missing > "$log" 2>&1 < /dev/null; then
    tail -n 30 "$log" >&2
    echo "setup.sh: the packages above could not be installed" >&2
    exit 1
fi
