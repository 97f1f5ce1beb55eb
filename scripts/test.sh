#!/bin/sh
# Builds ZENFIT and runs every test.
set -e
cd "$(dirname "$0")/.."
sh scripts/deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$(nproc)"
ctest --test-dir build --output-on-failure -j "$(nproc)"
