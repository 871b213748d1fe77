#!/usr/bin/env bash
# Builds the default preset and runs the whole test suite.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset default
cmake --build --preset default
ctest --preset default
