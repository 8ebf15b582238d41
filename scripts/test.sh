#!/usr/bin/env bash
# Builds the library, the Python module and the command in Release and runs all tests.
# Arguments go to ctest, for example: scripts/test.sh -R Extrude
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset release
cmake --build --preset release -j 2
ctest --preset release -j 2 "$@"
