#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need (Debian 12).
set -euo pipefail
# clang and its runtimes (libFuzzer, the sanitizers) build the fuzz targets; the
# mail tests run a real mail server (aiosmtpd) and a real DNS server (dnslib) on
# loopback; ncurses draws the terminal monitor, which its test runs under tmux;
# the back-up companions make their archives with tar and gzip and send them
# with rsync; libmicrohttpd serves the operator console, whose metrics a test
# reads with the Prometheus client's own parser and a real Prometheus scrapes
# (its configuration read with PyYAML); the package test checks the package
# with lintian and its unit with systemd-analyze; the console's browser test
# drives Chromium through Selenium.
packages=(build-essential cmake googletest libgtest-dev libgmock-dev libbenchmark-dev
          nlohmann-json3-dev clang libclang-rt-14-dev
          python3-aiosmtpd python3-dnslib libncurses-dev tmux tar gzip rsync
          pkg-config libmicrohttpd-dev python3-prometheus-client lintian systemd
          chromium chromium-driver python3-selenium prometheus python3-yaml)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
fi
