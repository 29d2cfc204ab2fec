#!/usr/bin/env bash
# Whole commands against their floors, as users run them: each command and
# its floor run alternately RUNS times (default 5); the figure of each is the
# median CPU time of its runs (perf stat's task clock, or /usr/bin/time's
# user + system where perf does not work), the ratio the
# command's median over the floor's.
#
#   bash bench/whole_process.sh BUILD_DIR [RUNS]
#
# BUILD_DIR holds an optimised build (the default RelWithDebInfo) with
# zeva-cli and bench_steim built. The
# script compiles its helpers (bench/whole_process/) into a scratch folder,
# writes there the 20 MB StationXML document of bench_stationxml and a
# 40-million-sample Steim-2 file, and removes the folder at exit.
#   inventory   zeva inventory BIG.xml        / xmllint --stream --noout BIG.xml  (aim: at most 2)
#   help        zeva --help                   / a libc-only program printing a line (aim: at most 3)
#   region      zeva region 0 0               / the same                           (aim: at most 3)
#   seismogram  libmseed ms_readtraces FILE   / zeva seismogram FILE  (inverted: higher is faster; aim: at least 3)
#   steim1, steim2  libmseed's decoders / the public decoders, from bench_steim (4096-byte
#               records; higher is faster; aim: at least 5)
set -euo pipefail

build=${1:?usage: whole_process.sh BUILD_DIR [RUNS]}
runs=${2:-5}
here=$(cd "$(dirname "$0")" && pwd)
shared=$(cd "$here/../../shared/data" 2>/dev/null && pwd) || { echo "shared data not found next to the project" >&2; exit 1; }
zeva=$(cd "$build" && pwd)/apps/zeva/zeva
[ -x "$zeva" ] || zeva=$(find "$(cd "$build" && pwd)" -name zeva -type f -perm -u+x | head -1)
[ -x "$zeva" ] || { echo "no zeva binary under $build" >&2; exit 1; }

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cc -O2 -o "$scratch/hello" "$here/whole_process/hello.c"
cc -O2 -o "$scratch/mseed_tool" "$here/whole_process/mseed_tool.c" $(pkg-config --cflags --libs mseed) -lm
python3 "$here/whole_process/big_stationxml.py" "$shared" "$scratch/big.xml"
"$scratch/mseed_tool" write "$scratch/big.mseed" 40000000

# CPU seconds of one run, output discarded: perf stat's task clock where perf
# works (sub-millisecond, which start-up needs), else /usr/bin/time's user +
# system (10 ms steps).
if perf stat -x, -e task-clock true 2>/dev/null >/dev/null; then
    cpu() {
        perf stat -x, -e task-clock -o "$scratch/t" "$@" >/dev/null 2>&1 || { echo "failed: $*" >&2; exit 1; }
        awk -F, '$3 == "task-clock" { printf "%.6f\n", $1 / 1000 }' "$scratch/t"
    }
else
    cpu() {
        /usr/bin/time -f '%U %S' -o "$scratch/t" "$@" >/dev/null 2>&1 || { echo "failed: $*" >&2; exit 1; }
        awk '{ printf "%.4f\n", $1 + $2 }' "$scratch/t"
    }
fi
median() { sort -g | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

# compare NAME "COMMAND" "FLOOR" [inverted]; the commands are split on blanks
# (the scratch paths hold none), run without a shell in between.
compare() {
    local name=$1
    : >"$scratch/a"; : >"$scratch/b"
    for ((i = 0; i < runs; i++)); do
        cpu $2 >>"$scratch/a"
        cpu $3 >>"$scratch/b"
    done
    local ma mb
    ma=$(median <"$scratch/a"); mb=$(median <"$scratch/b")
    if [ "${4:-}" = inverted ]; then
        awk -v n="$name" -v a="$ma" -v b="$mb" 'BEGIN { printf "%-11s zeva %.4f s   floor %.4f s   floor/zeva %.2f\n", n, a, b, b / a }'
    else
        awk -v n="$name" -v a="$ma" -v b="$mb" 'BEGIN { printf "%-11s zeva %.4f s   floor %.4f s   zeva/floor %.2f\n", n, a, b, a / b }'
    fi
}

echo "median CPU time of $runs runs each, $(nproc) cores, $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ //')"
compare inventory "$zeva inventory $scratch/big.xml" "xmllint --stream --noout $scratch/big.xml"
compare help "$zeva --help" "$scratch/hello"
compare region "$zeva region 0 0" "$scratch/hello"
compare seismogram "$zeva seismogram $scratch/big.mseed" "$scratch/mseed_tool read $scratch/big.mseed" inverted

steim=$(cd "$build" && pwd)/bench/bench_steim
if [ -x "$steim" ]; then
    # CPU time per pass over its records (4096 bytes each).
    "$steim" --benchmark_filter='^(libmseed|ours)1[01]$' --benchmark_repetitions="$runs" \
        --benchmark_report_aggregates_only=true 2>/dev/null |
        awk '$1 ~ /_median$/ { sub(/_median$/, "", $1); t[$1] = $4 }
             END { for (e = 10; e <= 11; e++)
                       printf "steim%d     zeva %.3f ms  libmseed %.3f ms  libmseed/zeva %.2f\n", e - 9,
                              t["ours" e], t["libmseed" e], t["libmseed" e] / t["ours" e] }'
fi
