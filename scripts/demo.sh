#!/usr/bin/env bash
# Sets up and builds sprig, then runs its main job on the built-in default:
# a test card drawn with the library's worlds, written to out/testcard.png.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh build
mkdir -p out
build/tools/sprig testcard out/testcard.png
