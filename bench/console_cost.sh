#!/usr/bin/env bash
# What the operator console costs the server on this host, measured in one run
# and printed side by side with the exporter a user would run instead for the
# metrics (Debian's prometheus-node-exporter):
#
#  1. the server's processor time, in ms per second (utime + stime of
#     /proc/PID/stat; and, finer, the run time of /proc/PID/schedstat), over
#     a window (30 s) at its 1 Hz cycle with no console client, then with the
#     console page open in a headless chromium (logged in through
#     /login?token=...), then with one `curl -N` on /api/events; the
#     exporter's own processor time, unscraped, over the first window, and
#     scraped once a second over the last;
#  2. requests per second of GET /api/model and GET /metrics with the bearer
#     token, and of the exporter's GET /metrics, each with wrk (1 thread, 4
#     connections, 10 s).
#
# Usage: bench/console_cost.sh [BUILD_DIR]   (default: build)
# It builds nothing: BUILD_DIR must hold tarnex-server (and web/, which the
# build copies there). WINDOW=SECONDS and WRK_SECONDS=SECONDS change the
# lengths. It installs chromium, wrk, prometheus-node-exporter and curl with
# apt-get when they are missing (as root). The server runs on this Linux host
# in a scratch installation folder, with its console on a free loopback port;
# everything it starts is stopped and removed at exit. Prints figures;
# asserts nothing.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
window=${WINDOW:-30}
wrk_seconds=${WRK_SECONDS:-10}
server=$build/tarnex-server
[ -x "$server" ] || { echo "no $server: build first (cmake --build $build --target tarnex-server)" >&2; exit 1; }

missing=()
command -v chromium >/dev/null || missing+=(chromium)
command -v wrk >/dev/null || missing+=(wrk)
command -v prometheus-node-exporter >/dev/null || missing+=(prometheus-node-exporter)
command -v curl >/dev/null || missing+=(curl)
if [ ${#missing[@]} -gt 0 ]; then
  apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}"
fi

work=$(mktemp -d)
pids=()      # processes started here, stopped at exit
groups=()    # process groups started here (the browser and its children)
cleanup() {
  for g in "${groups[@]}"; do kill -TERM -- "-$g" 2>/dev/null || true; done
  for p in "${pids[@]}"; do kill -TERM "$p" 2>/dev/null || true; done
  for p in "${pids[@]}" "${groups[@]}"; do wait "$p" 2>/dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

free_port() {
  python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}
# utime + stime of a process (all its threads), in ticks; the run time of its
# threads now alive, in ns.
cpu_ticks() { awk '{ sub(/^.*\) /, ""); print $12 + $13 }' "/proc/$1/stat"; }
run_ns() { cat /proc/"$1"/task/*/schedstat | awk '{ n += $1 } END { printf "%.0f\n", n }'; }
now() { date +%s.%N; }
hz=$(getconf CLK_TCK)

# Processor time of the processes given over one window: prints, per
# process, "MS_PER_S_FROM_TICKS MS_PER_S_FROM_RUN_TIME" on one line each.
measure() {
  local t0 t1 p
  local -a c0 n0
  t0=$(now)
  for p in "$@"; do c0+=("$(cpu_ticks "$p")"); n0+=("$(run_ns "$p")"); done
  sleep "$window"
  t1=$(now)
  local i=0
  for p in "$@"; do
    awk -v c0="${c0[$i]}" -v c1="$(cpu_ticks "$p")" -v n0="${n0[$i]}" -v n1="$(run_ns "$p")" \
      -v t0="$t0" -v t1="$t1" -v hz="$hz" \
      'BEGIN { printf "%.2f %.2f\n", (c1 - c0) * 1000 / hz / (t1 - t0), (n1 - n0) / 1e6 / (t1 - t0) }'
    i=$((i + 1))
  done
}
# Requests per second of one wrk run, and its mean latency.
requests() {
  local out
  out=$(wrk -t1 -c4 -d"${wrk_seconds}s" "$@")
  awk '/^Requests\/sec:/ { rps = $2 } /^ +Latency/ { lat = $2 }
       /Non-2xx/ { bad = $NF } END { printf "%s %s %s\n", rps, lat, bad ? bad : 0 }' <<< "$out"
}
# Established connections to a local port.
connections() { ss -Htn state established "( sport = :$1 )" | wc -l; }

port=$(free_port)
"$server" --app-path "$work/app" --console "127.0.0.1:$port" 2> "$work/server.err" &
server_pid=$!
pids+=("$server_pid")
for _ in $(seq 300); do
  [ -s "$work/app/Bin/Console.token" ] && break
  kill -0 "$server_pid" 2>/dev/null || { cat "$work/server.err" >&2; exit 1; }
  sleep 0.1
done
token=$(tr -d '\n' < "$work/app/Bin/Console.token")
[ -n "$token" ] || { echo "the server wrote no console token" >&2; cat "$work/server.err" >&2; exit 1; }
base="http://127.0.0.1:$port"

exporter_port=$(free_port)
prometheus-node-exporter --web.listen-address="127.0.0.1:$exporter_port" \
  2> "$work/exporter.err" &
exporter_pid=$!
pids+=("$exporter_pid")
for _ in $(seq 100); do
  curl -sf "http://127.0.0.1:$exporter_port/metrics" -o /dev/null && break
  sleep 0.1
done
# Start-up (the system facts, the first minute's work) out of the way.
sleep 10

echo "window: ${window} s each; this host: $(nproc) cores, $(awk -F': ' '/^model name/ { print $2; exit }' /proc/cpuinfo)"
echo "load average at start: $(cut -d' ' -f1-3 /proc/loadavg)"

read -r idle_server idle_exporter < <(measure "$server_pid" "$exporter_pid" | paste -sd' ' | awk '{ print $1 "/" $2, $3 "/" $4 }')

# The page in a browser: logs in, then the page keeps its event stream open.
setsid chromium --headless --no-sandbox --disable-gpu --no-first-run \
  --user-data-dir="$work/chromium" --remote-debugging-port=0 \
  "$base/login?token=$token" > "$work/chromium.log" 2>&1 &
browser=$!
groups+=("$browser")
sleep 10
browser_connections=$(connections "$port")
browser_server=$(measure "$server_pid" | awk '{ print $1 "/" $2 }')
browser_connections_end=$(connections "$port")
kill -TERM -- "-$browser" 2>/dev/null || true
wait "$browser" 2>/dev/null || true
groups=()
sleep 3

curl -sN -H "Authorization: Bearer $token" "$base/api/events" > "$work/events.txt" &
curl_pid=$!
pids+=("$curl_pid")
# Over the same window the exporter is scraped once a second, as a client
# that follows the figures each second would.
( while :; do curl -s "http://127.0.0.1:$exporter_port/metrics" -o /dev/null; sleep 1; done ) &
scraper_pid=$!
pids+=("$scraper_pid")
sleep 2
read -r curl_server scraped_exporter < <(measure "$server_pid" "$exporter_pid" | paste -sd' ' | awk '{ print $1 "/" $2, $3 "/" $4 }')
kill -TERM "$scraper_pid" 2>/dev/null || true
wait "$scraper_pid" 2>/dev/null || true
frames=$(grep -c '^event: frame' "$work/events.txt" || true)
kill -TERM "$curl_pid" 2>/dev/null || true
wait "$curl_pid" 2>/dev/null || true
sleep 2

auth="Authorization: Bearer $token"
model_bytes=$(curl -sf -H "$auth" "$base/api/model" | wc -c)
metrics_bytes=$(curl -sf -H "$auth" "$base/metrics" | wc -c)
exporter_bytes=$(curl -sf "http://127.0.0.1:$exporter_port/metrics" | wc -c)
read -r model_rps model_lat model_bad < <(requests -H "$auth" "$base/api/model")
read -r metrics_rps metrics_lat metrics_bad < <(requests -H "$auth" "$base/metrics")
read -r exporter_rps exporter_lat exporter_bad < <(requests "http://127.0.0.1:$exporter_port/metrics")

echo
echo "processor time, ms per s (from utime+stime / from schedstat run time):"
printf "  %-44s %s\n" "tarnex-server, no console client" "$idle_server"
printf "  %-44s %s   (connections to the console: %s at start, %s at end)\n" \
  "tarnex-server, console page open in chromium" "$browser_server" "$browser_connections" \
  "$browser_connections_end"
printf "  %-44s %s   (frames received: %s)\n" "tarnex-server, curl -N on /api/events" \
  "$curl_server" "$frames"
printf "  %-44s %s   (same window as the first line)\n" "node_exporter, unscraped" "$idle_exporter"
printf "  %-44s %s   (same window as the line of curl -N)\n" "node_exporter, scraped once a second" \
  "$scraped_exporter"
echo
echo "requests per second (wrk, 1 thread, 4 connections, ${wrk_seconds} s):"
printf "  %-44s %10s req/s  mean latency %-9s non-2xx %s  (%s bytes)\n" \
  "tarnex-server GET /api/model" "$model_rps" "$model_lat" "$model_bad" "$model_bytes"
printf "  %-44s %10s req/s  mean latency %-9s non-2xx %s  (%s bytes)\n" \
  "tarnex-server GET /metrics" "$metrics_rps" "$metrics_lat" "$metrics_bad" "$metrics_bytes"
printf "  %-44s %10s req/s  mean latency %-9s non-2xx %s  (%s bytes)\n" \
  "node_exporter GET /metrics" "$exporter_rps" "$exporter_lat" "$exporter_bad" "$exporter_bytes"
