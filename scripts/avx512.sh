#!/bin/sh
# usage: scripts/avx512.sh [--emulate]
# Compares all copies, avx512 among them, element by element: on this processor if it has the
# instructions, otherwise, or with --emulate, on an emulated one.
#
# The emulator boots a small Linux whose only program is the test; its lines come back through the
# serial port.  An older kernel is taken from Debian 11, since newer ones refuse the emulator's
# XSAVE sizes and switch AVX off.  All downloads and files stay under build/avx512.
set -eu
cd "$(dirname "$0")/.."
time_limit=1200 # seconds for the emulated machine

emulate=no
case ${1-} in
    '') ;;
    --emulate) emulate=yes ;;
    *) sed -n '2,4s/^# //p' "$0" >&2 && exit 2 ;;
esac

scripts/setup.sh build
cmake --preset release > /dev/null
cmake --build --preset release --target copies_agree
program=build/release/tests/copies_agree

has_instructions() {
    flags=$(grep -m 1 '^flags' /proc/cpuinfo)
    for feature in avx512f avx512dq avx512bw avx512vl avx512cd; do
        case " $flags " in *" $feature "*) ;; *) return 1 ;; esac
    done
}
if [ $emulate = no ] && has_instructions; then
    echo "This processor has the instructions: running on it."
    exec $program avx512
fi

scripts/setup.sh emulator
mkdir -p build/avx512
cd build/avx512
machine=$PWD

# ---- A kernel, unpacked but not installed -------------------------------------------------------
if ! ls kernel/boot/vmlinuz-* > /dev/null 2>&1; then
    mirror=$(apt-get indextargets --format '$(REPO_URI)' \
        'Created-By: Packages' 'Codename: bookworm' 'Component: main' | head -n 1)
    echo "deb $mirror bullseye main" > sources.list
    mkdir -p lists cache/archives/partial
    options="-o Dir::Etc::SourceList=$machine/sources.list -o Dir::Etc::SourceParts=-
        -o Dir::State::Lists=$machine/lists -o Dir::Cache=$machine/cache -o APT::Sandbox::User="
    apt-get -q $options update > apt.log 2>&1 < /dev/null || { tail apt.log >&2 && exit 1; }
    package=$(apt-cache $options search --names-only '^linux-image-5[.]10[.]0-[0-9]+-cloud-amd64$' |
        cut -d ' ' -f 1 | sort -V | tail -n 1)
    test -n "$package" || { echo "avx512.sh: no 5.10 kernel on the mirror" >&2 && exit 1; }
    apt-get -q $options download "$package" >> apt.log 2>&1 || { tail apt.log >&2 && exit 1; }
    dpkg -x "$package"_*.deb kernel
    rm -rf "$package"_*.deb lists cache
fi

# ---- A CD with the kernel and the program -------------------------------------------------------
rm -rf root cd
mkdir -p root cd/isolinux
cp "../../$program" root/init
strip root/init
(cd root && find . | cpio --quiet -o -H newc | gzip -1) > cd/isolinux/root.gz
cp kernel/boot/vmlinuz-* cd/isolinux/linux
cp /usr/lib/ISOLINUX/isolinux.bin /usr/lib/syslinux/modules/bios/ldlinux.c32 cd/isolinux
cat > cd/isolinux/isolinux.cfg << 'END'
default linux
label linux
  kernel linux
  append initrd=root.gz console=ttyS0 quiet noxsaves mitigations=off nokaslr tsc=reliable clocksource=tsc lpj=1000000 random.trust_cpu=on panic=1 -- avx512
END
genisoimage -quiet -o boot.iso -b isolinux/isolinux.bin -c isolinux/boot.cat \
    -no-emul-boot -boot-load-size 4 -boot-info-table cd

# ---- The machine --------------------------------------------------------------------------------
cat > bochsrc << 'END'
megs: 512
cpu: model=corei7_skylake_x, count=1, ips=200000000, reset_on_triple_fault=1
romimage: file=/usr/share/bochs/BIOS-bochs-latest
vgaromimage: file=/usr/share/bochs/VGABIOS-lgpl-latest
ata0: enabled=1, ioaddr1=0x1f0, ioaddr2=0x3f0, irq=14
ata0-master: type=cdrom, path=boot.iso, status=inserted
boot: cdrom
com1: enabled=1, mode=file, dev=serial.out
display_library: rfb, options="timeout=0"
log: bochs.log
speaker: enabled=0
sound: waveoutdrv=dummy, waveindrv=dummy, midioutdrv=dummy
clock: sync=none
panic: action=fatal
error: action=report
info: action=ignore
END
echo c > continue # this bochs has a debugger, which waits for a command
: > serial.out
echo "Emulating a processor with the instructions; this takes about a minute."
timeout "$time_limit" bochs -q -f bochsrc -rc continue < /dev/null > bochs.out 2>&1 &
emulator=$!
trap 'kill "$emulator" 2> /dev/null || true' EXIT
while kill -0 "$emulator" 2> /dev/null && ! grep -q '^copies_agree: ' serial.out 2> /dev/null; do
    sleep 2
done
tr -d '\r' < serial.out | grep -E '^(branch|copy|DIFFERS|this processor|copies_agree)' || true
if tr -d '\r' < serial.out | grep -q '^copies_agree: passed'; then exit 0; fi
if ! grep -q '^copies_agree: ' serial.out; then
    echo "avx512.sh: no result; the last lines of build/avx512/serial.out and bochs.out:" >&2
    tail -n 5 serial.out bochs.out >&2
fi
exit 1
