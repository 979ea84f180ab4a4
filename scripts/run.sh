#!/usr/bin/env bash
# Builds the server and runs it on this host. The installation folder is
# $TARNEX_HOME, or ~/tarnex-server when that is not set; extra arguments go to
# the server (see build/tarnex-server --help). The memory and cache tool is put
# in place as Bin/ram.exe under the installation folder, where the server runs
# it, and the back-up companions as TarnexSBackup.exe and SendBU.exe, where the
# server starts them (docs/backup.md).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DTARNEX_SANITIZE=OFF >/dev/null
cmake --build build -j2 --target tarnex-server
home="${TARNEX_HOME:-$HOME/tarnex-server}"
mkdir -p "$home/Bin"
install -m 755 build/tarnex-ram "$home/Bin/ram.exe"
install -m 755 build/tarnex-sbackup "$home/TarnexSBackup.exe"
install -m 755 build/tarnex-sendbu "$home/SendBU.exe"
echo "Tarnex Server: installation folder $home (Ctrl-C to stop)"
exec build/tarnex-server --app-path "$home" "$@"
