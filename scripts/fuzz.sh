#!/usr/bin/env bash
# Builds the Steim fuzz target with clang (AddressSanitizer, UBSan,
# libFuzzer) in build-fuzz and runs it for a bounded time, seeded with the
# frames of the shared miniSEED files when they are present. Exits non-zero
# when the fuzzer finds a crash or a disagreement between decoding paths.
# FUZZ_SECONDS sets the time (default 60).
set -euo pipefail
cd "$(dirname "$0")/.."

if ! command -v clang >/dev/null || ! command -v clang++ >/dev/null; then
  echo "fuzz.sh: clang is not installed; skipping the fuzz run" >&2
  exit 0
fi

CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DZEVA_BUILD_FUZZ=ON \
  -DZEVA_BUILD_TESTS=OFF -DZEVA_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug >/dev/null
cmake --build build-fuzz --target steim_fuzz

corpus=build-fuzz/steim-corpus
mkdir -p "$corpus"
# A seed is: swap flag, expected count (2 bytes, little-endian), frames.
# Each record's frames are taken from byte 64 of the file, with both flags.
printf '\001\364\001' >"$corpus/empty-frames"
data=../shared/data/mseed
if [ -d "$data" ]; then
  for f in "$data"/*; do
    [ "${f##*.}" = md ] && continue
    name=$(basename "$f")
    for flag in 0 1; do
      { printf "\\00$flag\\364\\001"; dd if="$f" bs=64 skip=1 count=7 status=none; } >"$corpus/$name.$flag"
    done
  done
else
  echo "fuzz.sh: no shared miniSEED data; starting from a minimal corpus" >&2
fi

build-fuzz/fuzz/steim_fuzz -max_total_time="${FUZZ_SECONDS:-60}" -max_len=4096 -timeout=10 \
  -artifact_prefix=build-fuzz/ -print_final_stats=1 "$corpus"

# StationXML import, seeded with the shared documents (STATIONXML_FUZZ_SECONDS, default 40).
cmake --build build-fuzz --target stationxml_fuzz
sx_corpus=build-fuzz/stationxml-corpus
mkdir -p "$sx_corpus"
printf '<FDSNStationXML schemaVersion="1.2"><Network code="X"/></FDSNStationXML>' >"$sx_corpus/minimal"
if [ -d ../shared/data/stationxml ]; then
  cp ../shared/data/stationxml/*.xml "$sx_corpus/"
else
  echo "fuzz.sh: no shared StationXML documents; starting from a minimal corpus" >&2
fi
build-fuzz/fuzz/stationxml_fuzz -max_total_time="${STATIONXML_FUZZ_SECONDS:-40}" -max_len=32768 -timeout=10 \
  -artifact_prefix=build-fuzz/ -print_final_stats=1 "$sx_corpus"
