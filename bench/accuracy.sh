#!/usr/bin/env bash
# Accuracy of the Linux provider: runs the server on this host for 60 s (or
# the seconds given) with --dump-model while an independent reader
# (bench/accuracy_reader.py: /proc read by Python, df, free, vmstat) samples
# the same figures, and prints each figure of the server's last cycle beside
# the independent one with the difference. Alongside, tarnex-counter-read
# reads the same counters through the provider once a second, network byte
# rates included (the model keeps no per-adapter figure), so every second is
# compared too. For the last 20 s some disk traffic (written and read back
# under a scratch folder) and loopback traffic make the rates worth comparing;
# the loopback is measured besides the adapters the provider chooses.
# Prints figures; asserts nothing.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
server=build/tarnex-server
reader=build/tarnex-counter-read
for b in "$server" "$reader"; do
  [ -x "$b" ] || { echo "build first: cmake -S . -B build && cmake --build build" >&2; exit 1; }
done
work=$(mktemp -d)
pids=()
cleanup() {
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT

adapters=$("$reader" --list-adapters | paste -sd, -)
interfaces=${adapters:+$adapters,}lo

python3 bench/accuracy_reader.py sample "$work/samples.jsonl" $((seconds + 2)) &
pids+=($!)
sample_pid=$!
"$reader" --seconds "$seconds" --interfaces "$interfaces" --adapters \
  '\Processor(_Total)\% Processor Time' '\Memory\Available Bytes' '\Memory\Committed Bytes' \
  '\LogicalDisk(/)\Free Megabytes' '\LogicalDisk(/)\Disk Read Bytes/sec' \
  '\LogicalDisk(/)\Disk Write Bytes/sec' '\Objects\Processes' '\System\System Up Time' \
  > "$work/provider.jsonl" &
pids+=($!)
reader_pid=$!
(sleep $((seconds > 25 ? seconds - 20 : 1)) &&
  python3 bench/accuracy_reader.py load 22 "$work") &
pids+=($!)

echo "server: ${seconds} s on this host; adapters by the rule: ${adapters:-none}; also lo"
"$server" --app-path "$work/app" --run-for "$seconds" --dump-model "$work/model.json" 2> "$work/server.err"
wait "$reader_pid" "$sample_pid"
echo
python3 bench/accuracy_reader.py compare "$work"
