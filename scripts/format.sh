#!/usr/bin/env bash
# Formats every C and C++ file of the project; with --check only tells which ones differ.
set -euo pipefail
cd "$(dirname "$0")/.."
mode=(-i)
if [ "${1:-}" = "--check" ]; then
  mode=(--dry-run --Werror)
fi
git ls-files -z -- '*.h' '*.c' '*.cpp' | xargs -0 -r clang-format "${mode[@]}"
