#!/bin/sh
# Builds the whole test suite with AddressSanitizer and
# UndefinedBehaviorSanitizer (g++) and runs it.
set -e
cd "$(dirname "$0")/.."
sh scripts/deps.sh
# -O1 -g1: what the sanitizers' reports need (line tables), at half the
# compile time of -O2 -g for the header-heavy tests.
quick="-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g1 -DNDEBUG"
quick_c="-DCMAKE_C_FLAGS_RELWITHDEBINFO=-O1 -g1 -DNDEBUG"
cmake -S . -B build-asan -DZENFIT_SANITIZE=ON -DZENFIT_BENCH=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  "$quick" "$quick_c" >/dev/null
cmake --build build-asan -j "$(nproc)"
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build-asan --output-on-failure -j "$(nproc)"
# Engines in two threads at once, under ThreadSanitizer.
cmake -S . -B build-tsan -DZENFIT_THREAD_SANITIZE=ON -DZENFIT_BENCH=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  "$quick" "$quick_c" >/dev/null
cmake --build build-tsan -j "$(nproc)" --target zenfit_thread_test
TSAN_OPTIONS=halt_on_error=1 build-tsan/tests/zenfit_thread_test
