#!/usr/bin/env bash
# Wall time of an hour of virtual running (3,600 sampling cycles) on the
# simulated machine, start-up and close included. Target: under 2 s.
set -euo pipefail
cd "$(dirname "$0")/.."
server=build/tarnex-server
[ -x "$server" ] || { echo "build first: cmake -S . -B build && cmake --build build" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cat > "$work/scenario.json" <<'JSON'
{"start": "2012-11-14 10:00:00",
 "env": {"WinDIR": "C:\\Windows", "COMPUTERNAME": "SRV1", "NUMBER_OF_PROCESSORS": "2"},
 "counters": {"\\Processor(0)\\% Idle Time": 50}}
JSON
for run in 1 2 3; do
  rm -rf "$work/app"
  start=$(date +%s.%N)
  "$server" --platform sim --scenario "$work/scenario.json" --app-path "$work/app" \
    --run-for 3600 --dump-model "$work/model.json"
  end=$(date +%s.%N)
  cycles=$(python3 -c "import json;print(json.load(open('$work/model.json'))['CPULastHR'])")
  printf 'run %d: 3600 virtual seconds in %.3f s wall (%s)\n' "$run" "$(awk "BEGIN{print $end - $start}")" "$cycles"
done
