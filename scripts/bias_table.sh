#!/usr/bin/env bash
# Measures captures of known jitter and prints a table of what was put in and what came out.
# Usage: scripts/bias_table.sh VOMO OUTDIR [SETTING...]   (settings as for vomo measure --set)
# Truth of Tj: the width at a bit error ratio of 1e-12 on each side, from the distribution of all that
# was put in; Rj there is the standard deviation of the edges' displacement.
set -euo pipefail
vomo=$1
out=$2
shift 2
settings=()
for setting in "$@"; do settings+=(--set "$setting"); done
mkdir -p "$out"
ui=1000000

# true_tj RJ SJ DISTANCE, in picoseconds
true_tj() {
  awk -v s="$1" -v a="$2" -v d="$3" '
    function erfc(x,  t) {  # Chebyshev fit, relative error below 1.2e-7, for x >= 0
      t = 1 / (1 + x / 2)
      return t * exp(-x * x - 1.26551223 + t * (1.00002368 + t * (0.37409196 + t * (0.09678418 + \
        t * (-0.18628806 + t * (0.27886807 + t * (-1.13520398 + t * (1.48851587 + \
        t * (-0.82215223 + t * 0.17087277)))))))))
    }
    function tail(x,  i, z, sum) {
      for (i = 0; i < 500; i++) {
        z = x - a * sin((i + 0.5) * 4 * atan2(1, 1) / 500 - 2 * atan2(1, 1))
        sum += erfc((z - d / 2) / s / sqrt(2)) + erfc((z + d / 2) / s / sqrt(2))
      }
      return sum / 2000
    }
    BEGIN {
      low = a + d / 2; high = low + 10 * s
      while (high - low > 1e-6) { x = (low + high) / 2; if (tail(x) > 1e-12) low = x; else high = x }
      printf "%.3f", 2 * x
    }'
}

echo "| pattern | Rj in | other jitter | Rj out | | Dj out | Tj truth | Tj out | |"
echo "|---|---|---|---|---|---|---|---|---|"
# row PATTERN RJ SJ SQUARE DCD, in picoseconds: peak of the sinusoid, distances of the others
row() {
  local pattern=$1 rj=$2 sj=$3 square=$4 dcd=$5
  "$vomo" synth "$out/bias.txt" --ui $ui --samples-per-ui 10 --pattern "$pattern" \
    --rj-rms "${rj}e-12" --sj-amplitude "${sj}e-12" --sj-frequency 50.3e6 \
    --dirac-distance "${square}e-12" --dirac-frequency 21.7e6 --duty-cycle-distortion "${dcd}e-12"
  "$vomo" measure "$out/bias.txt" --rate 8e9 --spui 10 --json "$out/bias.json" \
    ${settings[@]+"${settings[@]}"} > /dev/null || [ $? -eq 1 ]
  local truth other
  truth=$(true_tj "$rj" "$sj" "$(awk "BEGIN { print $square + $dcd }")")
  other=$([ "$sj" = 0 ] || echo "sinusoid $sj peak"
          [ "$square" = 0 ] || echo "square wave $square apart"
          [ "$dcd" = 0 ] || echo "duty cycle $dcd")
  awk -F'[:,]' -v pattern="$pattern" -v rj="$rj" -v other="${other:-none}" -v truth="$truth" '
    /^ "results_units"/ { exit }
    /^  "dRjRMS"/ { rj_out = $2 * 1e12 }
    /^  "dDjDeltaDelta"/ { dj = $2 * 1e12 }
    /^  "dTjPeakPeak"/ { tj = $2 * 1e12 }
    END {
      printf "| %s | %.2f | %s | %.3f | %+.1f %% | %.2f | %.2f | %.2f | %+.1f %% |\n", pattern, rj,
        other, rj_out, 100 * (rj_out / rj - 1), dj, truth, tj, 100 * (tj / truth - 1)
    }' "$out/bias.json"
  rm -f "$out"/bias.*
}

for pattern in clock prbs7 prbs31; do
  row $pattern 1 0 0 0
  row $pattern 3 0 0 0
  row $pattern 1 5 0 0
  row $pattern 1 0 6 0
  row $pattern 1 0 0 6
done
