#!/bin/sh
# Prints the functions that a header declares for export, one name a line, sorted, as the C
# preprocessor leaves them: declared.sh COMPILER HEADER
set -eu
"$1" -std=c99 -E -P -x c "$2" | tr '\n' ' ' | tr ';' '\n' |
  sed -n 's/.*visibility("default")))[^(]*[ *]\([A-Za-z_][A-Za-z_0-9]*\) *(.*/\1/p' | LC_ALL=C sort
