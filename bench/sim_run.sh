#!/usr/bin/env bash
# Wall time of an hour of virtual running (3,600 sampling cycles) on the
# simulated machine, start-up and close included. Target: under 2 s.
set -euo pipefail
cd "$(dirname "$0")/.."
. bench/sim_setup.sh
for run in 1 2 3; do
  rm -rf "$work/app"
  start=$(date +%s.%N)
  "$server" --platform sim --scenario "$work/scenario.json" --app-path "$work/app" \
    --run-for 3600 --dump-model "$work/model.json"
  end=$(date +%s.%N)
  cycles=$(python3 -c "import json;print(json.load(open('$work/model.json'))['CPULastHR'])")
  printf 'run %d: 3600 virtual seconds in %.3f s wall (%s)\n' "$run" "$(awk "BEGIN{print $end - $start}")" "$cycles"
done
