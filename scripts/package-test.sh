#!/usr/bin/env bash
# Builds the Debian package from a build folder (default: build), prints
# lintian's findings and fails on any of severity error, installs the package
# on this machine, checks its files and its unit, runs the installed server
# for a few seconds in its folder, then removes the package (the folder stays)
# and purges it (the folder goes). Needs root, as dpkg does.
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build}"
home=/var/lib/tarnex-server

fail() {
  echo "package test: $*" >&2
  exit 1
}

if dpkg-query -W -f='${Status}' tarnex-server 2>/dev/null | grep -q "install ok installed"; then
  fail "tarnex-server is installed on this machine already; purge it first"
fi

echo "== building the package"
cmake --build "$build" -j2 --target tarnex-server tarnex-monitor tarnex-sysinfo tarnex-ram \
  tarnex-sbackup tarnex-sendbu tarnex-changelog >/dev/null
rm -f "$build"/tarnex-server_*.deb
(cd "$build" && cpack -G DEB >/dev/null)
deb=$(ls "$build"/tarnex-server_*.deb)
echo "$deb"

echo "== lintian"
findings=$(lintian --tag-display-limit 0 "$deb" 2>&1 || true)
echo "${findings:-(no findings)}"
if grep -q "^E:" <<<"$findings"; then
  fail "lintian reports errors"
fi

# Whatever happens from here, the machine is left without the package.
trap 'dpkg --purge tarnex-server >/dev/null 2>&1 || true' EXIT

echo "== installing"
dpkg -i "$deb"
for f in /usr/bin/tarnex-server /usr/bin/tarnex-monitor /usr/bin/tarnex-sysinfo \
  /usr/lib/tarnex-server/tarnex-ram /usr/lib/tarnex-server/tarnex-sbackup \
  /usr/lib/tarnex-server/tarnex-sendbu /lib/systemd/system/tarnex-server.service \
  /usr/share/doc/tarnex-server/copyright /usr/share/doc/tarnex-server/changelog.gz \
  /usr/share/doc/tarnex-server/install.md /usr/share/tarnex-server/web/index.html \
  "$home/Bin/ram.exe" "$home/TarnexSBackup.exe" \
  "$home/SendBU.exe"; do
  [ -e "$f" ] || fail "$f is missing"
done
[ -x "$home/TarnexSBackup.exe" ] || fail "the back-up companion cannot be run"
[ "$(stat -c %a "$home")" = 750 ] || fail "$home is not 0750"
/usr/bin/tarnex-server --version

echo "== the unit"
if command -v systemd-analyze >/dev/null; then
  systemd-analyze verify /lib/systemd/system/tarnex-server.service ||
    fail "systemd-analyze finds fault with the unit"
  echo "systemd-analyze verify: no faults"
else
  echo "systemd-analyze is not here; the unit is not verified"
fi
grep -q "^ExecStart=/usr/bin/tarnex-server --app-path $home$" /lib/systemd/system/tarnex-server.service ||
  fail "the unit does not start the server in $home"

echo "== running the installed server for a few seconds, its console on a free port"
(cd "$home" && exec /usr/bin/tarnex-server --app-path "$home" --run-for 8 --console 127.0.0.1:0) &
server=$!
for _ in $(seq 1 100); do
  [ -s "$home/Bin/Console.address" ] && break
  sleep 0.1
done
[ -s "$home/Bin/Console.address" ] || fail "the installed server wrote no console address"
/usr/bin/python3 - "$home" <<'PY' || fail "the installed console does not answer"
import sys, urllib.request
home = sys.argv[1]
address = open(home + "/Bin/Console.address").read().strip()
base = address if address.startswith("http") else "http://" + address
page = urllib.request.urlopen(base + "/").read().decode()
assert "<html" in page.lower(), "the main page is not served"
token = open(home + "/Bin/Console.token").read().strip()
request = urllib.request.Request(base + "/api/model?fields=AppPath",
                                 headers={"Authorization": "Bearer " + token})
model = urllib.request.urlopen(request).read().decode()
assert "/var/lib/tarnex-server" in model, model
print("console at", base, "serves the page and the model:", model.strip())
PY
wait "$server" || fail "the installed server ended with a failure"
[ -s "$home/Bin/Tarnex.Tnx" ] || fail "the installed server wrote no settings"
ls "$home" "$home/Bin"

echo "== removing: the folder stays"
dpkg -r tarnex-server >/dev/null
[ ! -e /usr/bin/tarnex-server ] || fail "the program is still there after removal"
[ -s "$home/Bin/Tarnex.Tnx" ] || fail "removal took the installation folder's settings"

echo "== purging: the folder goes"
dpkg --purge tarnex-server >/dev/null
[ ! -e "$home" ] || fail "$home is still there after purging"
trap - EXIT
echo "package test: passed"
