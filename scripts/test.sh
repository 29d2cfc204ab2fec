#!/usr/bin/env bash
# Installs what is missing, builds zeva with warnings as errors and runs
# every test. With ZEVA_SANITIZE=1 it builds in build-asan with
# AddressSanitizer and UndefinedBehaviorSanitizer instead.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
dir=build-test
flags=(-DZEVA_WERROR=ON)
# ccache, when installed, keeps compiled objects across checkouts.
if command -v ccache >/dev/null; then
  export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=true
  flags+=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
if [ "${ZEVA_SANITIZE:-0}" = 1 ]; then
  dir=build-asan
  flags+=(-DZEVA_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug -DZEVA_BUILD_BENCH=OFF)
  export LSAN_OPTIONS="suppressions=$PWD/tests/lsan.supp:print_suppressions=0${LSAN_OPTIONS:+:$LSAN_OPTIONS}"
fi
cmake -S . -B "$dir" -G Ninja "${flags[@]}" >/dev/null
cmake --build "$dir"
ctest --test-dir "$dir" --output-on-failure -j 2
