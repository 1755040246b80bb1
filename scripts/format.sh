#!/bin/sh
# usage: scripts/format.sh [--check]
# Formats all C and C++ files of the repository in place, or fails if one isn't formatted.
# Tables of constants stand between `clang-format off` and `on` in their own files; lists read by
# macros (*.def) are laid out by hand.
set -eu
cd "$(dirname "$0")/.."
case ${1-} in
    '') how=-i ;;
    --check) how='--dry-run -Werror' ;;
    *) sed -n '2,5s/^# //p' "$0" >&2 && exit 2 ;;
esac
scripts/setup.sh format
git ls-files -z '*.c' '*.cpp' '*.h' | xargs -0 -n 8 -P "$(nproc)" clang-format $how
echo "formatted: $(git ls-files '*.c' '*.cpp' '*.h' | wc -l) files"
