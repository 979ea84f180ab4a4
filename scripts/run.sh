#!/usr/bin/env bash
# Builds the server and runs it on this host. The installation folder is
# $TARNEX_HOME, or ~/tarnex-server when that is not set; extra arguments go to
# the server (see build/tarnex-server --help).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DTARNEX_BENCH=OFF >/dev/null
cmake --build build -j2 --target tarnex-server
home="${TARNEX_HOME:-$HOME/tarnex-server}"
echo "Tarnex Server: installation folder $home (Ctrl-C to stop)"
exec build/tarnex-server --app-path "$home" "$@"
