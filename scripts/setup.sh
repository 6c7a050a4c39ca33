#!/usr/bin/env bash
# Installs what the build, the tests and the benchmarks need, on Debian. Says what it does and does
# nothing when all is there.
set -euo pipefail

packages=(
  g++ clang cmake ninja-build make git pkg-config
  libfftw3-dev
  libgtest-dev libbenchmark-dev
  libcli11-dev nlohmann-json3-dev libfmt-dev nettle-dev libcairo2-dev fonts-dejavu-core
  chromium  # the tests look at reports in it
  clang-format clang-tidy libclang-rt-14-dev
)

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  as_root=(sudo)
fi
echo "Installing from Debian: ${missing[*]}"
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
