#!/bin/sh
# usage: scripts/gallery.sh
# Draws each law's histogram beside its density or probabilities: docs/gallery.svg.
set -eu
cd "$(dirname "$0")/.."

scripts/setup.sh build plots
cmake --preset release > /dev/null
cmake --build --preset release -j "$(nproc)" --target gallery >&2
table=build/release/gallery.table
build/release/examples/gallery > "$table"
titles=$(sed -n 's/^# //p' "$table")
count=$(echo "$titles" | wc -l)
{
    columns=3 rows=$(((count + 2) / 3))
    echo "set terminal svg size 960,$((220 * rows)) font 'sans,11' background '#ffffff'"
    echo "set output 'docs/gallery.svg'"
    echo "set multiplot layout $rows,$columns"
    echo "set style fill solid 0.5 noborder; set boxwidth 1 relative"
    echo "unset key; set yrange [0:*]; set tics nomirror"
    block=0
    echo "$titles" | while read -r style title; do
        case $style in points) style='points pt 7 ps 0.4' ;; lines) style='lines lw 1.5' ;; esac
        echo "set title '$title'"
        echo "plot '$table' index $block using 1:2 notitle with boxes lc '#88aacc', \\"
        echo "     '' index $block using 1:3 notitle with $style lc '#aa3333'"
        block=$((block + 1))
    done
} | gnuplot
echo "docs/gallery.svg: $count laws" >&2
