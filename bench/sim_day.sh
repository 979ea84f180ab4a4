#!/usr/bin/env bash
# Wall time of a simulated day with traffic: 86,460 sampling cycles from
# 23:58:30 on the 31st of December to 23:59:30 on the 1st of January, with
# the daily mail on so that both nights roll over (the day, then the day, the
# month and the year), on a disk folder (the files as they would be on a real
# disk: the totals are written every second). Target: under 10 s.
set -euo pipefail
cd "$(dirname "$0")/.."
server=build/tarnex-server
[ -x "$server" ] || { echo "build first: cmake -S . -B build && cmake --build build" >&2; exit 1; }
work=$(mktemp -d "${TMPDIR:-/tmp}/sim_day.XXXXXX")
trap 'rm -rf "$work"' EXIT
cat > "$work/scenario.json" <<'JSON'
{"start": "2012-12-31 23:58:30",
 "env": {"WinDIR": "C:\\Windows", "COMPUTERNAME": "SRV1", "NUMBER_OF_PROCESSORS": "2"},
 "objects": {"Network Interface": ["Intel Ethernet"]},
 "counters": {"\\Processor(0)\\% Idle Time": 50,
   "\\Processor(_Total)\\% Processor Time": [12.5, {"value": 60, "for": 3600}, 20],
   "\\Network Interface(Intel Ethernet)\\Bytes Received/sec": [{"value": 120000, "for": 600}, {"value": 9000000, "for": 60}, 250000],
   "\\Network Interface(Intel Ethernet)\\Bytes Sent/sec": [{"value": 80000, "for": 900}, 12000000, 40000],
   "\\Network Interface(Intel Ethernet)\\Packets Received/sec": 300,
   "\\Network Interface(Intel Ethernet)\\Packets Sent/sec": 200,
   "\\LogicalDisk(C:)\\Disk Read Bytes/sec": 350000,
   "\\LogicalDisk(C:)\\Disk Write Bytes/sec": 120000}}
JSON
for run in 1 2 3; do
  rm -rf "$work/app"
  mkdir -p "$work/app/Bin"
  printf '[Bandwidth]\r\nAnnual=2012\r\nMonth=Dec2012\r\n[Email]\r\nAuto=1\r\n' > "$work/app/Bin/Tarnex.Tnx"
  start=$(date +%s.%N)
  "$server" --platform sim --quiet --scenario "$work/scenario.json" --app-path "$work/app" \
    --run-for 86460
  end=$(date +%s.%N)
  rolls=$(grep -c "" "$work/app/Logs/Daily Bandwidth.txt")
  printf 'run %d: 86460 virtual seconds in %.2f s wall (%d lines in the daily bandwidth log; %s)\n' \
    "$run" "$(awk "BEGIN{print $end - $start}")" "$rolls" "$(cat "$work/app/Logs/Annual Bandwidth.txt" | head -c 60)"
done
