#!/usr/bin/env bash
# Runs every benchmark program of a folder.
# Usage: bench.sh FOLDER [benchmark options]
set -euo pipefail
folder=$1
shift
for program in "$folder"/*_bench; do
  echo "== $(basename "$program")"
  "$program" "$@"
done
