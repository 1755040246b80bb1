#!/bin/sh
# usage: docs_links.sh REPOSITORY
# Every link of a page to a file of the repository leads somewhere.
set -eu
cd "$1"
failed=0
for page in *.md docs/*.md; do
    for target in $(grep -oE '\]\([^)#]+' "$page" | cut -c 3- | grep -v '^https\?:'); do
        [ -e "$(dirname "$page")/$target" ] || { echo "$page: no $target" && failed=1; }
    done
done
exit $failed
