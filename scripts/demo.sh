#!/usr/bin/env bash
# Makes a capture of an 8 Gb/s signal with known jitter, measures it and leaves the result as JSON.
# Usage: scripts/demo.sh VOMO OUTDIR
set -euo pipefail
vomo=$1
out=$2
mkdir -p "$out"
capture=$out/capture.txt
result=$out/result.json
report=$out/report.html

echo "Making $capture: 8 Gb/s, PRBS7, 1 million UI at 10 samples each, with"
echo "  random jitter 1.0 ps rms, sinusoidal jitter 4 ps peak at 50 MHz, duty-cycle distortion 3 ps"
"$vomo" synth "$capture" --bit-rate 8e9 --samples-per-ui 10 --ui 1000000 --pattern prbs7 \
  --rj-rms 1e-12 --sj-amplitude 4e-12 --sj-frequency 50e6 --duty-cycle-distortion 3e-12

echo
echo "Measuring it:  vomo measure $capture --rate 8e9 --spui 10 --json $result --report $report"
echo
"$vomo" measure "$capture" --rate 8e9 --spui 10 --json "$result" --report "$report"
echo
echo "The truth about the capture: $capture.truth.json"
echo "The whole result:            $result"
echo "The report, for a browser:   $report"
