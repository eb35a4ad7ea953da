#!/usr/bin/env bash
# Sets up and builds sprig, then runs the whole test suite.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh build
ctest --test-dir build --output-on-failure -j "$(nproc)"
