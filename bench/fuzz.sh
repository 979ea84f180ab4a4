#!/usr/bin/env bash
# Runs every fuzz target for SECONDS (default 60), two at a time, and prints
# for each the executions, the coverage reached and the findings (crashes,
# leaks, timeouts, inputs that ran out of memory). Builds the clang fuzz build
# in build-fuzz first. Exits non-zero when any target found something.
#   bench/fuzz.sh 600
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
parallel="${FUZZ_JOBS:-2}"
build=build-fuzz
cmake -S . -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DTARNEX_FUZZ=ON -DTARNEX_WERROR=ON >/dev/null
cmake --build "$build" -j2 >/dev/null
corpus="$build/fuzz-corpus"
"$build/tarnex-fuzz-seeds" . "$corpus" >/dev/null
out="$build/fuzz-runs"
rm -rf "$out"
mkdir -p "$out"
targets=()
for program in "$build"/fuzz-*; do
  [ -x "$program" ] && [ -f "$program" ] && targets+=("$(basename "$program" | sed 's/^fuzz-//')")
done

run() {
  local t="$1"
  mkdir -p "$out/$t.findings"
  # A crash, a leak, an input that runs past 10 s or memory past 2 GB is a finding.
  "$build/fuzz-$t" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$out/$t.findings/" "$corpus/$t" \
    >"$out/$t.log" 2>&1 || true
}

echo "fuzzing ${#targets[@]} targets for $seconds s each, $parallel at a time"
running=0
for t in "${targets[@]}"; do
  run "$t" &
  running=$((running + 1))
  if [ "$running" -ge "$parallel" ]; then
    wait -n || true
    running=$((running - 1))
  fi
done
wait

stat() { sed -n "s/^stat::$2: *//p" "$out/$1.log" | tail -1; }
printf '%-14s %12s %10s %8s %8s %9s\n' target executions exec/s cov corpus findings
found=0
for t in "${targets[@]}"; do
  findings=$(find "$out/$t.findings" -type f | wc -l)
  found=$((found + findings))
  cov=$(grep -o 'cov: [0-9]*' "$out/$t.log" | tail -1 | cut -d' ' -f2)
  units=$(grep -o 'corp: [0-9]*' "$out/$t.log" | tail -1 | cut -d' ' -f2)
  printf '%-14s %12s %10s %8s %8s %9s\n' "$t" "$(stat "$t" number_of_executed_units)" \
    "$(stat "$t" average_exec_per_sec)" "${cov:-?}" "${units:-?}" "$findings"
done
if [ "$found" -gt 0 ]; then
  echo "findings: see $out/*.findings and $out/*.log"
  exit 1
fi
echo "no findings"
