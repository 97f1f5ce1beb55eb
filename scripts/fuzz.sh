#!/bin/sh
# Builds the fuzz targets with clang (libFuzzer, AddressSanitizer and
# UndefinedBehaviorSanitizer) and runs each for a bounded time.
#   sh scripts/fuzz.sh [seconds per target]   (default 60; as many at once as processors)
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
jobs="$(nproc)"

# One target for its time; its last line, or the end of its log when it
# found a problem (and a non-zero status).
fuzz_one() {
  target="$1"; name="$(basename "$target" _fuzz)"
  mkdir -p "$work/$name"
  # New inputs go to a scratch corpus; the seeds in the repository stay as they are.
  if "$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -close_fd_mask=1 \
       -artifact_prefix="$(pwd)/build-fuzz/$name-" "$work/$name" "$(pwd)/fuzz/corpus/$name" \
       >"build-fuzz/$name.log" 2>&1; then
    echo "== $name, ${seconds}s: $(grep "^Done" "build-fuzz/$name.log" | tail -1)"
  else
    echo "!! $name found a problem:"; tail -40 "build-fuzz/$name.log"; return 1
  fi
}

# As many targets at once as there are processors, each on one.
status=0
set -- build-fuzz/fuzz/*_fuzz
while [ $# -gt 0 ]; do
  pids=""
  i=0
  while [ $# -gt 0 ] && [ "$i" -lt "$jobs" ]; do
    fuzz_one "$1" > "build-fuzz/$(basename "$1").out" 2>&1 &
    pids="$pids $!:$1"
    shift; i=$((i + 1))
  done
  for entry in $pids; do
    pid="${entry%%:*}"; target="${entry#*:}"
    wait "$pid" || status=1
    cat "build-fuzz/$(basename "$target").out"
  done
done
exit $status
