#!/bin/sh
# Writes the expected text of every fit and unfit golden session from the
# independent numpy reference (tools/fit_reference.py), after the start-up
# text of a folder without a procedure library or star catalogue (taken
# from the FITTOL session, whose expected text holds exactly that).
# Review the differences line by line before committing them.
set -e
cd "$(dirname "$0")/.."
for dir in tests/golden/fit_*/ tests/golden/unfit_*/; do
  {
    sed -n '1,/^ZENFIT ready for use/p' tests/golden/fittol_session/expected.out
    echo
    /usr/bin/python3 tools/fit_reference.py "${dir}session.cmd"
  } > "${dir}expected.out"
  echo "${dir}expected.out"
done
