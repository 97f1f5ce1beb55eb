#!/bin/sh
# Builds the fuzz targets with clang (libFuzzer, AddressSanitizer and
# UndefinedBehaviorSanitizer) and runs each for a bounded time.
#   sh scripts/fuzz.sh [seconds per target]   (default 60)
set -e
cd "$(dirname "$0")/.."
seconds="${1:-60}"
missing=""
for package in clang libclang-rt-dev; do
  dpkg -s "$package" >/dev/null 2>&1 || missing="$missing $package"
done
if [ -n "$missing" ]; then
  if [ "$(id -u)" = 0 ]; then
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq $missing >/dev/null
  else
    echo "Please install:$missing" >&2; exit 1
  fi
fi
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DZENFIT_FUZZ=ON -DZENFIT_TESTS=OFF -DZENFIT_BENCH=OFF >/dev/null
cmake --build build-fuzz -j "$(nproc)"
work="$(pwd)/build-fuzz/corpus-work"
status=0
for target in build-fuzz/fuzz/*_fuzz; do
  name="$(basename "$target" _fuzz)"
  mkdir -p "$work/$name"
  echo "== fuzzing $name for ${seconds}s"
  # New inputs go to a scratch corpus; the seeds in the repository stay as they are.
  if ! "$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -close_fd_mask=1 \
        -artifact_prefix="$(pwd)/build-fuzz/$name-" "$work/$name" "$(pwd)/fuzz/corpus/$name" \
        >"build-fuzz/$name.log" 2>&1; then
    echo "!! $name found a problem:"; tail -40 "build-fuzz/$name.log"; status=1
  else
    tail -1 "build-fuzz/$name.log"
  fi
done
exit $status
