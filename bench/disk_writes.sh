#!/usr/bin/env bash
# Bytes the server writes on this host while it runs idle: starts it in a
# fresh installation folder for 120 s (or the seconds given), and prints what
# /proc/PID/io says it wrote after its start-up (the first 10 s) and in the
# steady part, as write(2) bytes (wchar) and as bytes that reach storage
# (write_bytes less cancelled_write_bytes), with the rate a second. Target: under 4 KB a second in the
# steady part. Prints figures; asserts nothing.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-120}
server=${TARNEX_SERVER:-build/tarnex-server}
[ -x "$server" ] || { echo "build first: cmake -S . -B build && cmake --build build" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

io() { awk -v key="$2:" '$1 == key { print $2 }' "/proc/$1/io"; }
# Bytes that reach storage: pages dirtied (write_bytes) less those thrown away
# before they were written (cancelled_write_bytes, a replaced file's).
storage() { awk '$1 == "write_bytes:" { w = $2 } $1 == "cancelled_write_bytes:" { c = $2 }
                 END { print w - c }' "/proc/$1/io"; }
now() { date +%s.%N; }

"$server" --app-path "$work/app" --run-for "$seconds" 2> "$work/server.err" &
pid=$!
sleep 10
w0=$(io "$pid" wchar)
b0=$(storage "$pid")
s0=$(io "$pid" syscw)
t0=$(now)
sleep $((seconds - 11))
w1=$(io "$pid" wchar)
b1=$(storage "$pid")
s1=$(io "$pid" syscw)
t1=$(now)
wait "$pid"
awk -v t0="$t0" -v t1="$t1" -v w0="$w0" -v w1="$w1" -v b0="$b0" -v b1="$b1" -v s0="$s0" \
  -v s1="$s1" -v all="$seconds" 'BEGIN {
  d = t1 - t0
  printf "server on this host, %d s run, steady part %.0f s\n", all, d
  printf "start-up (first 10 s):  %d bytes written (wchar), %d to storage\n", w0, b0
  printf "steady, write(2):       %d bytes in %d calls, %.1f bytes/s\n", w1 - w0, s1 - s0, (w1 - w0) / d
  printf "steady, to storage:     %d bytes, %.1f bytes/s\n", b1 - b0, (b1 - b0) / d
}'
