#!/usr/bin/env bash
# Builds everything with warnings as errors and runs the whole suite, then runs
# it again under the address and undefined-behaviour sanitizers.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake -S . -B build -DTARNEX_WERROR=ON -DTARNEX_BENCH=ON -DTARNEX_SANITIZE=OFF >/dev/null
cmake --build build -j2
(cd build && ctest --output-on-failure -j2)
cmake -S . -B build-asan -DTARNEX_WERROR=ON -DTARNEX_SANITIZE=ON -DTARNEX_BENCH=OFF \
  -DCMAKE_BUILD_TYPE=Debug >/dev/null
cmake --build build-asan -j2
(cd build-asan && ctest --output-on-failure -j2)
