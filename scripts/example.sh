#!/bin/sh
# Builds ZENFIT and runs the shipped example session.
set -e
cd "$(dirname "$0")/.."
sh scripts/deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$(nproc)" --target zenfit_cli
# The Python module too, for examples/analysis.py (unless turned off).
if grep -q "^ZENFIT_PYTHON:BOOL=ON" build/CMakeCache.txt; then
  cmake --build build -j "$(nproc)" --target zenfit_python
fi
cd examples
../build/zenfit session.cmd / / / || true
