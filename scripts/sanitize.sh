#!/bin/sh
# Builds the whole test suite with AddressSanitizer and
# UndefinedBehaviorSanitizer (g++) and runs it.
set -e
cd "$(dirname "$0")/.."
sh scripts/deps.sh
cmake -S . -B build-asan -DZENFIT_SANITIZE=ON -DZENFIT_BENCH=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build-asan -j "$(nproc)"
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build-asan --output-on-failure -j "$(nproc)"
