#!/usr/bin/env bash
# Sets up and builds sprig, then runs its main job on the built-in default:
# the demo host `sprig demo`, which runs the sprite engine's demo scene and
# writes its frames, an animated PNG and per-frame checksums to out/demo/.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh build
build/tools/sprig demo --out out/demo
