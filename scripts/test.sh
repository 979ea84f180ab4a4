#!/usr/bin/env bash
# Builds everything with warnings as errors and runs the whole suite, builds
# the Debian package and tries it on this machine, then runs the suite again
# under the address and undefined-behaviour sanitizers, then builds the fuzz
# targets with clang and runs each for a few seconds.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake -S . -B build -DTARNEX_WERROR=ON -DTARNEX_BENCH=ON -DTARNEX_SANITIZE=OFF >/dev/null
cmake --build build -j2
(cd build && ctest --output-on-failure -j2)
scripts/package-test.sh build
cmake -S . -B build-asan -DTARNEX_WERROR=ON -DTARNEX_SANITIZE=ON -DTARNEX_BENCH=OFF \
  -DCMAKE_BUILD_TYPE=Debug >/dev/null
cmake --build build-asan -j2
(cd build-asan && ctest --output-on-failure -j2)
cmake -S . -B build-fuzz -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DTARNEX_FUZZ=ON -DTARNEX_WERROR=ON >/dev/null
cmake --build build-fuzz -j2 --target tarnex-fuzz
(cd build-fuzz && ctest --output-on-failure -j2)
