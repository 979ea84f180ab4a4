#!/usr/bin/env bash
# The day's traffic totals beside the kernel's own byte counters: runs the
# server on this host for 600 s (or the seconds given) measuring one
# interface (default lo), makes traffic on the loopback meanwhile (about
# 2 MB/s over TCP, or the rate given in bytes a second), and prints what the
# kernel counted and what the totals counted over the same stretch, and their
# difference. Prints figures; asserts nothing.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-600}
interface=${2:-lo}
rate=${3:-2000000}
server=build/tarnex-server
[ -x "$server" ] || { echo "build first: cmake -S . -B build && cmake --build build" >&2; exit 1; }
work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT

stat_bytes() { cat "/sys/class/net/$interface/statistics/$1"; }
total() {  # a key of section Bandwidth, as the settings file holds it now
  awk -F= -v key="$1" '/^\[/{s=$0} s=="[Bandwidth]\r" && $1==key {gsub("\r","",$2); print $2}' \
    "$work/app/Bin/Tarnex.Tnx"
}

"$server" --app-path "$work/app" --interfaces "$interface" --run-for $((seconds + 10)) \
  2> "$work/server.err" &
# A sender and a receiver on the loopback, at about `rate` bytes a second.
/usr/bin/python3 bench/loopback_traffic.py $((seconds + 5)) "$rate" &
sleep 4
rx0=$(stat_bytes rx_bytes); tx0=$(stat_bytes tx_bytes)
rec0=$(total "Daily Rec"); sent0=$(total "Daily Sent"); t0=$(date +%s.%N)
sleep "$seconds"
rx1=$(stat_bytes rx_bytes); tx1=$(stat_bytes tx_bytes)
rec1=$(total "Daily Rec"); sent1=$(total "Daily Sent"); t1=$(date +%s.%N)
wait %1 || true
awk -v rx="$((rx1 - rx0))" -v tx="$((tx1 - tx0))" -v rec0="$rec0" -v rec1="$rec1" \
  -v sent0="$sent0" -v sent1="$sent1" -v t0="$t0" -v t1="$t1" -v ifc="$interface" 'BEGIN {
  rec = rec1 - rec0; sent = sent1 - sent0
  printf "interface %s, %.0f s measured\n", ifc, t1 - t0
  printf "received: kernel %.0f bytes, totals %.0f bytes, difference %.0f (%.3f %%)\n", rx, rec, rec - rx, (rec - rx) / rx * 100
  printf "sent:     kernel %.0f bytes, totals %.0f bytes, difference %.0f (%.3f %%)\n", tx, sent, sent - tx, (sent - tx) / tx * 100
}'
