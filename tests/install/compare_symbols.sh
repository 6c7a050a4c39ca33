#!/bin/sh
# Fails unless a library's dynamic symbols are what its header declares, nothing missing and nothing
# more: compare_symbols.sh COMPILER HEADER LIBRARY
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$(dirname "$0")/declared.sh" "$1" "$2" > "$work/declared"
nm -D --defined-only "$3" | awk '{ print $NF }' | LC_ALL=C sort > "$work/exported"
if [ ! -s "$work/declared" ]; then
  echo "no declarations found in $2"
  exit 1
fi
diff -u "$work/declared" "$work/exported"
