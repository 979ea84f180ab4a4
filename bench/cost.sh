#!/usr/bin/env bash
# Whole-process cost of the server on this host: runs it for 120 s (or the
# seconds given) and prints its processor use as a percentage of one core
# (utime + stime of /proc/PID/stat, in ticks; and, finer, the run time of
# /proc/PID/schedstat in nanoseconds) over the whole run and over the steady
# part after the first 10 s, and its resident memory (VmHWM, the peak, and
# VmRSS of /proc/PID/status) near the end. Targets: within 1 % of one core
# and 16 MB. Prints figures; asserts nothing.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-120}
server=build/tarnex-server
[ -x "$server" ] || { echo "build first: cmake -S . -B build && cmake --build build" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
ticks=$(getconf CLK_TCK)

# utime + stime of a process, in ticks.
cpu_ticks() { awk '{ sub(/^.*\) /, ""); print $12 + $13 }' "/proc/$1/stat"; }
run_ns() { awk '{ print $1 }' "/proc/$1/schedstat" 2>/dev/null || echo 0; }
status_kb() { awk -v key="$2:" '$1 == key { print $2 }' "/proc/$1/status"; }
now() { date +%s.%N; }

"$server" --app-path "$work/app" --run-for "$seconds" --dump-model "$work/model.json" \
  2> "$work/server.err" &
pid=$!
start=$(now)
sleep 10
steady_ticks=$(cpu_ticks "$pid")
steady_ns=$(run_ns "$pid")
steady_start=$(now)
sleep $((seconds - 11))
end_ticks=$(cpu_ticks "$pid")
end_ns=$(run_ns "$pid")
end=$(now)
hwm=$(status_kb "$pid" VmHWM)
rss=$(status_kb "$pid" VmRSS)
wait "$pid"

programs=$(python3 -c "import json; m = json.load(open('$work/model.json')); print(len(m['Programlist']), m['AdapterCount'])")
awk -v t0="$start" -v t1="$end" -v s0="$steady_start" -v c0="$steady_ticks" -v c1="$end_ticks" \
  -v hz="$ticks" -v hwm="$hwm" -v rss="$rss" -v progs="$programs" -v n0="$steady_ns" \
  -v n1="$end_ns" 'BEGIN {
  split(progs, p, " ")
  printf "server on this host for %.0f s (%d programs watched, %d adapters)\n", t1 - t0, p[1], p[2]
  printf "processor, whole run:      %.3f %% of one core (%d ticks of 1/%d s)\n", c1 / hz / (t1 - t0) * 100, c1, hz
  printf "processor, after 10 s:     %.3f %% of one core (%d ticks)\n", (c1 - c0) / hz / (t1 - s0) * 100, c1 - c0
  printf "run time, whole run:       %.3f %% of one core (%.1f ms)\n", n1 / 1e9 / (t1 - t0) * 100, n1 / 1e6
  printf "run time, after 10 s:      %.3f %% of one core (%.1f ms)\n", (n1 - n0) / 1e9 / (t1 - s0) * 100, (n1 - n0) / 1e6
  printf "resident memory, peak:     %.1f MB (VmHWM %d kB)\n", hwm / 1024, hwm
  printf "resident memory, at end:   %.1f MB (VmRSS %d kB)\n", rss / 1024, rss
}'
