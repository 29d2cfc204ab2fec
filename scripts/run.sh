#!/usr/bin/env bash
# Installs what is missing, builds zeva and runs its main job: the list of
# the past week's earthquakes. Extra arguments go to 'zeva events'.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DZEVA_BUILD_TESTS=OFF -DZEVA_BUILD_BENCH=OFF >/dev/null
cmake --build build --target zeva-cli
exec build/apps/zeva/zeva events "$@"
