# Sourced by the benchmarks that run the server on the simulated machine:
# sets `server` (the built program), `work` (a scratch folder removed at exit)
# and writes a basic machine to "$work/scenario.json".
server=build/tarnex-server
[ -x "$server" ] || { echo "build first: cmake -S . -B build && cmake --build build" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cat > "$work/scenario.json" <<'JSON'
{"start": "2012-11-14 10:00:00",
 "env": {"WinDIR": "C:\\Windows", "COMPUTERNAME": "SRV1", "NUMBER_OF_PROCESSORS": "2"},
 "counters": {"\\Processor(0)\\% Idle Time": 50}}
JSON
