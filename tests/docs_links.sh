#!/bin/sh
# usage: docs_links.sh REPOSITORY
# Every link of a page to a file of the repository, or to a heading of a page, leads somewhere.
set -eu
cd "$1"
failed=0
anchors() { sed -n 's/^##* //p' "$1" | tr 'A-Z ' 'a-z-' | tr -cd 'a-z0-9_\n-'; }
for page in *.md docs/*.md; do
    for link in $(grep -oE '\]\([^):]*#[^)]+' "$page" | cut -c 3-); do
        target=$(dirname "$page")/${link%%#*}
        [ "${link%%#*}" ] || target=$page
        anchors "$target" | grep -qx -e "${link#*#}" || { echo "$page: no $link" && failed=1; }
    done
    for target in $(grep -oE '\]\([^)#]+' "$page" | cut -c 3- | grep -v '^https\?:'); do
        [ -e "$(dirname "$page")/$target" ] || { echo "$page: no $target" && failed=1; }
    done
done
exit $failed
