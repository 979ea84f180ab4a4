#!/usr/bin/env bash
# The server on this host at one sample a second for 120 s (or the seconds
# given), side by side with sysstat's data collector (sadc) sampling the
# same host at the same rate into its daily file, in one run. While they run,
# traffic goes over the loopback, which the server measures (--interfaces lo),
# so its traffic totals change, and are written, every second. Prints for
# each: processor time (utime + stime), peak resident memory, and the bytes
# written (write(2) bytes, and bytes that reach storage: write_bytes less
# cancelled_write_bytes of /proc/PID/io). Installs
# sysstat when it is missing. Prints figures; asserts nothing.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-120}
server=build/tarnex-server
[ -x "$server" ] || { echo "build first: cmake -S . -B build && cmake --build build" >&2; exit 1; }
sadc=/usr/lib/sysstat/sadc
if [ ! -x "$sadc" ]; then
  sudo=""; [ "$(id -u)" -eq 0 ] || sudo="sudo"
  $sudo apt-get install -y -qq sysstat >/dev/null
fi
work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT

/usr/bin/python3 bench/loopback_traffic.py $((seconds + 5)) 1000000 &
"$server" --app-path "$work/app" --interfaces lo --run-for $((seconds + 5)) 2> "$work/server.err" &
server_pid=$!
"$sadc" -S ALL 1 $((seconds + 5)) "$work/sa" &
sadc_pid=$!
sleep "$seconds"

report() {  # name pid
  local pid=$2 ticks hwm wchar wbytes
  ticks=$(awk '{ sub(/^.*\) /, ""); print $12 + $13 }' "/proc/$pid/stat")
  hwm=$(awk '$1 == "VmHWM:" { print $2 }' "/proc/$pid/status")
  wchar=$(awk '$1 == "wchar:" { print $2 }' "/proc/$pid/io")
  # Pages dirtied and then thrown away (a replaced file's, before it reached
  # the disk) count in write_bytes and again in cancelled_write_bytes.
  wbytes=$(awk '$1 == "write_bytes:" { w = $2 } $1 == "cancelled_write_bytes:" { c = $2 }
                END { print w - c }' "/proc/$pid/io")
  awk -v n="$1" -v t="$ticks" -v hz="$(getconf CLK_TCK)" -v s="$seconds" -v h="$hwm" \
    -v w="$wchar" -v b="$wbytes" 'BEGIN {
    printf "%-14s %8.2f s processor (%.3f %% of a core)  %7.1f MB peak resident  %10d bytes written (%.0f/s), %10d to storage\n",
      n, t / hz, t / hz / s * 100, h / 1024, w, w / s, b
  }'
}
echo "on this host for $seconds s, one sample a second, traffic on the loopback:"
report "tarnex-server" "$server_pid"
report "sadc" "$sadc_pid"
