#!/bin/sh
# Installs what building ZENFIT needs when it is missing (Debian, as root).
set -e
missing=""
need() { dpkg -s "$1" >/dev/null 2>&1 || missing="$missing $1"; }
if command -v dpkg >/dev/null 2>&1; then
  need cmake; need g++; need make; need pkg-config
  need liberfa-dev; need libgtest-dev; need libbenchmark-dev
  # Benchmarks only: LAPACK's dgelsd is the yardstick of FIT's benchmarks
  # (reference LAPACK over the reference BLAS); the engine links no LAPACK.
  need liblapack-dev
  # libedit: line editing, history and Tab completion at the batch program's prompt.
  need libedit-dev
  # The Python module (pybind11, the headers, numpy), its tests (pytest)
  # and the example analysis.py (matplotlib), all for Debian's python3.
  need pybind11-dev; need python3-dev; need python3-numpy; need python3-pytest
  need python3-matplotlib
  # Plots: cairo draws every page (SVG, PNG, PDF, PostScript), fontconfig
  # finds the fonts, the DejaVu faces are the plots' sans, serif and
  # monospace text.
  need libcairo2-dev; need libfontconfig-dev; need fonts-dejavu-core
  # The browser host zenfit-web: its HTTP server and JSON, and the test that
  # drives its page in headless Chromium through Selenium.
  need libcpp-httplib-dev; need nlohmann-json3-dev
  need chromium; need chromium-driver; need python3-selenium
fi
if [ -n "$missing" ]; then
  if [ "$(id -u)" = 0 ]; then
    echo "Installing:$missing"
    apt-get update -qq >/dev/null 2>&1 || true
    # Only what is named: recommended packages would add minutes and gigabytes.
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >/dev/null
  else
    echo "Please install:$missing (for example: sudo apt-get install$missing)" >&2
    exit 1
  fi
fi
