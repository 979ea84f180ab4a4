#!/usr/bin/env bash
# Wall time of a start-up (and one second of virtual running) with a settings
# file of about 50 MB that has the rules report once ("Once=1") and no
# [Bottleneck] keys yet, so that start-up writes keys 1 to 100 of that
# section; and of a second start on the file the first one left.
set -euo pipefail
cd "$(dirname "$0")/.."
. bench/sim_setup.sh
mkdir -p "$work/app/Bin"
value=$(printf 'x%.0s' $(seq 60))
{
  printf '[Monitor]\r\nOnce=1\r\n[Filler]\r\n'
  seq 0 760000 | sed "s/.*/Key&=$value\r/"
} >"$work/app/Bin/Tarnex.Tnx"
size=$(stat -c %s "$work/app/Bin/Tarnex.Tnx")
for run in first second; do
  start=$(date +%s.%N)
  "$server" --platform sim --quiet --scenario "$work/scenario.json" --app-path "$work/app" \
    --run-for 1
  end=$(date +%s.%N)
  printf '%s start with a %d-byte settings file: %.3f s wall\n' "$run" "$size" \
    "$(awk "BEGIN{print $end - $start}")"
done
grep -c '^[0-9]*=1' "$work/app/Bin/Tarnex.Tnx" | sed 's/^/bottleneck keys written: /'
