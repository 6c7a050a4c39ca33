#!/usr/bin/env bash
# Fuzzes each reader for a while: fuzz.sh FOLDER-OF-THE-FUZZ-PROGRAMS SECONDS-EACH
# Starts from small valid files that the programs make themselves. What was found to be of interest is
# kept beside the programs (NAME.corpus), so that a later run goes on from there; an input that broke a
# reader stays there too (NAME.crash-...) and makes the script fail.
set -euo pipefail
cd "$1"
seconds=$2
# Headers may promise samples by the gigabyte, and a record is made for them. Such a request fails here,
# as it may anywhere: the sanitizers would spend the time on clearing memory.
export ASAN_OPTIONS=max_allocation_size_mb=24:allocator_may_return_null=1
status=0
for program in ./*_fuzz; do
  name=${program#./}
  seeds=$(mktemp -d)
  mkdir -p "$name.corpus"
  "$program" --seeds "$seeds"
  echo "$name: ${seconds} s"
  if ! "$program" -max_total_time="$seconds" -max_len=16384 -timeout=10 -rss_limit_mb=2048 \
      -print_final_stats=1 -verbosity=0 -close_fd_mask=1 -artifact_prefix="$name." \
      "$name.corpus" "$seeds" 2>"$name.log"; then
    echo "$name: broken, see $PWD/$name.log" >&2
    status=1
  fi
  grep -E 'number_of_executed_units|peak_rss' "$name.log" || true
  rm -rf "$seeds"
done
exit $status
