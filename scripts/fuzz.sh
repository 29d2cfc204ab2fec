#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (AddressSanitizer, UBSan) in
# build-fuzz and runs each for a bounded time from a small corpus made here:
#   steim    the Steim decoders (every path, which must agree)
#   archive  the keyed-archive reader (binary and XML); what it accepts must
#            save again and restore to the same description
#   feed     both feed loaders of the event-list controller, then the table
#   html     the HTML-to-text conversion
#   mseed    the miniSEED readers behind `zeva seismogram` and `zeva steim --mseed`
#   stationxml  StationXML import into the inventory model
#   quakeml  QuakeML import into origins
#   stationtext, eventtext  the web services' station and event text tables
# Seeds come from ../shared/data when it is present, from archives the built
# library saves (and GNUstep's copies of them, when GNUstep is installed) and
# from pages and texts written below. Exits non-zero when a fuzzer finds a
# crash, a leak, a hang or a broken check. Every input a target once crashed
# on (fuzz/crashers/<target>/, and ../shared/data/hostile/<target>-*) is run
# first as a plain input, then kept in the corpus.
# FUZZ_SECONDS (default 48) is the Steim run; the others run three quarters
# of it each, the QuakeML and text readers 30 s each at the default (under
# six minutes in all). FUZZ_TARGETS (default all nine) picks targets.
set -euo pipefail
cd "$(dirname "$0")/.."

if ! command -v clang >/dev/null || ! command -v clang++ >/dev/null; then
  echo "fuzz.sh: clang is not installed; skipping the fuzz run" >&2
  exit 0
fi

seconds=${FUZZ_SECONDS:-48}
targets=${FUZZ_TARGETS:-steim archive feed html mseed stationxml quakeml stationtext eventtext}
data=../shared/data
out=build-fuzz

launcher=()
if command -v ccache >/dev/null; then
  export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=true
  launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
CC=clang CXX=clang++ cmake -S . -B $out -G Ninja -DZEVA_BUILD_FUZZ=ON "${launcher[@]}" \
  -DZEVA_BUILD_TESTS=OFF -DZEVA_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug >/dev/null
build=()
for t in $targets; do build+=("${t}_fuzz"); done
case " $targets " in *" archive "*) build+=(archive_seeds) ;; esac
cmake --build $out --target "${build[@]}"

fresh_corpus() {
  rm -rf "$out/$1-corpus"
  mkdir -p "$out/$1-corpus"
  echo "$out/$1-corpus"
}

# Files of a shared data folder, README excepted, first $2 bytes of each.
shared_seeds() {
  local from=$data/$1 bytes=$2 corpus=$3
  if [ ! -d "$from" ]; then
    echo "fuzz.sh: no $from; starting from the seeds made here" >&2
    return
  fi
  for f in "$from"/*; do
    [ "$(basename "$f")" = README.md ] && continue
    head -c "$bytes" "$f" >"$corpus/$(basename "$f")"
  done
}

seed_steim() {
  local corpus
  corpus=$(fresh_corpus steim)
  # A seed is: swap flag, expected count (2 bytes, little-endian), frames.
  # Each record's frames are taken from byte 64 of the file, with both flags.
  printf '\001\364\001' >"$corpus/empty-frames"
  if [ -d "$data/mseed" ]; then
    for f in "$data"/mseed/*; do
      [ "${f##*.}" = md ] && continue
      name=$(basename "$f")
      for flag in 0 1; do
        { printf "\\00$flag\\364\\001"; dd if="$f" bs=64 skip=1 count=7 status=none; } >"$corpus/$name.$flag"
      done
    done
  fi
}

seed_archive() {
  local corpus classes peer
  corpus=$(fresh_corpus archive)
  classes=$(grep -ho '(void)ZEVA[A-Za-z_]*' zeva/*/*Classes.cpp | sed 's/(void)//')
  # shellcheck disable=SC2086
  $out/fuzz/archive_seeds "$corpus" $classes
  # The same archives in the XML layout (UIDs as CF$UID dictionaries).
  if command -v python3 >/dev/null; then
    python3 - "$corpus" <<'EOF'
import pathlib, plistlib, sys
def xml(v):
    if isinstance(v, plistlib.UID): return {'CF$UID': v.data}
    if isinstance(v, dict): return {k: xml(x) for k, x in v.items()}
    if isinstance(v, list): return [xml(x) for x in v]
    return v
for p in sorted(pathlib.Path(sys.argv[1]).glob('*.archive')):
    p.with_suffix('.xml').write_bytes(plistlib.dumps(xml(plistlib.loads(p.read_bytes())), fmt=plistlib.FMT_XML))
EOF
  fi
  # GNUstep's own binary and XML layouts of the archives its peer can read.
  if command -v gnustep-config >/dev/null && command -v gcc >/dev/null; then
    peer=$out/gnustep_peer
    # shellcheck disable=SC2046
    if gcc $(gnustep-config --objc-flags | sed 's/-MMD//; s/-MP//') -std=gnu11 tests/interop/gnustep_peer.m \
        -o $peer $(gnustep-config --base-libs) 2>/dev/null; then
      for f in "$corpus"/*.archive; do
        for format in binary xml; do
          $peer copy "$f" "${f%.archive}.gnustep-$format" $format 2>/dev/null || true
        done
      done
    fi
  fi
}

seed_feed() {
  local corpus
  corpus=$(fresh_corpus feed)
  shared_seeds usgs-feed 6000 "$corpus"
  printf 'time,latitude,longitude,depth,mag,magType,nst,gap,dmin,rms,net,id,updated,place,type\n' >"$corpus/header"
  printf '%s\n' 'Src,Eqid,Version,Datetime,Lat,Lon,Magnitude,Depth,NST,Region' \
    'us,c0003mr1,4,"Saturday, May 21, 2011 09:06:50 UTC",-21.4418,-68.5123,4.5,110.60,31,"Chile"' \
    >"$corpus/quoted"
}

seed_html() {
  local corpus
  corpus=$(fresh_corpus html)
  shared_seeds bulletins 8000 "$corpus"
  printf '%s' '<html><head><title>T</title><style>p{}</style><script>x<1</script></head><body>' \
    '<h1>Head&amp;line</h1><p>a&nbsp;b &#233; &#x1F30B; &bogus;</p><pre> kept  blanks\n</pre>' \
    '<table><tr><td>1</td><td>2</td></tr></table><ul><li>x<li>y</ul>a<br>b<!-- c --></body></html>' \
    >"$corpus/blocks.html"
  { for _ in $(seq 300); do printf '<font size=2>line\n'; done; } >"$corpus/unclosed-font.html"
  { printf '<p>before</p>'; for _ in $(seq 300); do printf '<b>'; done; printf 'deep<p>after</p>'; } \
    >"$corpus/nested-b.html"
  { for _ in $(seq 3000); do printf '<div>'; done; printf 'bottom'; } >"$corpus/nested-div.html"
}

seed_mseed() {
  local corpus
  corpus=$(fresh_corpus mseed)
  shared_seeds mseed 4096 "$corpus"
  printf '000001D ' >"$corpus/header-start"
  # Records whose blockette chains end right at the record's end, or a few
  # bytes past it, in both header byte orders: the fuzzer starts next to
  # the place where a parser that trusts the chain reads past the record.
  if command -v python3 >/dev/null; then
    python3 - "$corpus" <<'EOF'
import struct, sys
sizes = {100: 12, 200: 52, 201: 60, 300: 60, 310: 60, 320: 64, 390: 28, 395: 16, 400: 16, 405: 6, 500: 200,
         1000: 8, 1001: 8, 2000: 16}
for order in '<>':
    for kind, size in sizes.items():
        for reclen, past in ((512, 0), (512, 4), (256, 1), (0, 0)):
            length = reclen or 200  # 0: no blockette 1000, the record runs to the end
            at = length - size + past
            h = b'000001D ' + b'ZEVA ' + b'  ' + b'BHZ' + b'XX'
            h += struct.pack(order + 'HHBBBBH', 2020, 1, 0, 0, 0, 0, 0)
            h += struct.pack(order + 'HhhBBBBiHH', 7, 100, 1, 0, 0, 0, 2 if reclen else 1, 0, 64, 48 if reclen else at)
            rec = bytearray(h + bytes(length - 48))
            if reclen:
                rec[48:56] = struct.pack(order + 'HHBBBB', 1000, at, 11, order == '>', reclen.bit_length() - 1, 0)
            end = min(at + 4, length)
            rec[at:end] = struct.pack(order + 'HH', kind, 0)[:end - at]
            if kind == 2000 and at + 6 <= length:
                rec[at + 4:at + 6] = struct.pack(order + 'H', size)
            name = 'chain-%s-%d-%d-%d' % ('le' if order == '<' else 'be', kind, reclen, past)
            open(sys.argv[1] + '/' + name, 'wb').write(bytes(rec))
EOF
  fi
}
seed_stationxml() {
  local corpus
  corpus=$(fresh_corpus stationxml)
  shared_seeds stationxml 32768 "$corpus"
  printf '<FDSNStationXML schemaVersion="1.2"><Network code="X"/></FDSNStationXML>' >"$corpus/minimal"
}

seed_quakeml() {
  local corpus
  corpus=$(fresh_corpus quakeml)
  shared_seeds quakeml 16384 "$corpus"
  printf '<q:quakeml xmlns:q="http://quakeml.org/xmlns/quakeml/1.2" xmlns="http://quakeml.org/xmlns/bed/1.2"><eventParameters><event><origin><time><value>2001-01-07T01:04:31.5Z</value></time><latitude><value>1</value></latitude><longitude><value>2</value></longitude></origin></event></eventParameters></q:quakeml>' >"$corpus/minimal"
}

seed_stationtext() {
  local corpus f
  corpus=$(fresh_corpus stationtext)
  if [ -d "$data/fdsn" ]; then
    for f in "$data"/fdsn/*.txt; do
      case $(basename "$f") in event*) continue ;; esac
      head -c 8192 "$f" >"$corpus/$(basename "$f")"
    done
  fi
  printf 'IU|ANMO|34.9|-106.4|1850.0|Albuquerque|2002-11-19T21:07:00|\n' >"$corpus/station-level"
  printf 'IU|Global|1988-01-01T00:00:00||150\n' >"$corpus/network-level"
}

seed_eventtext() {
  local corpus
  corpus=$(fresh_corpus eventtext)
  [ -f "$data/fdsn/event_text_isc.txt" ] && cp "$data/fdsn/event_text_isc.txt" "$corpus/"
  printf '1|2012-04-11T08:38:37.25|2.2|93.0|26.3|ISC||ISC||MW|8.6|GCMT|X\n' >"$corpus/row"
}

run() {
  local name=$1 time=$2 max_len=$3 input
  shift 3
  # First every input this target ever crashed on, each run once as a plain
  # input (fuzz/crashers, and the shared hostile inputs for the target),
  # then kept in the corpus for the timed run to start from.
  local crashers=()
  for input in fuzz/crashers/"$name"/* "$data"/hostile/"$name"-*; do
    [ -f "$input" ] && crashers+=("$input")
  done
  if [ ${#crashers[@]} -gt 0 ]; then
    echo "fuzz.sh: $name on ${#crashers[@]} inputs that once crashed it" >&2
    $out/fuzz/${name}_fuzz -runs=1 "$@" "${crashers[@]}"
    cp "${crashers[@]}" "$out/$name-corpus/"
  fi
  echo "fuzz.sh: $name for ${time}s" >&2
  $out/fuzz/${name}_fuzz -max_total_time="$time" -max_len="$max_len" -timeout=10 -rss_limit_mb=2048 \
    -artifact_prefix=$out/$name- -print_final_stats=1 "$@" "$out/$name-corpus"
}

others=$((seconds * 3 / 4))
for t in $targets; do
  "seed_$t"
  case $t in
    steim) run steim "$seconds" 4096 ;;
    archive) run archive "$others" 16384 ;;
    feed) run feed "$others" 8192 ;;
    html) run html "$others" 32768 ;;
    mseed) run mseed "$others" 8192 -close_fd_mask=2 -dict=fuzz/mseed.dict ;;
    stationxml) run stationxml "$others" 32768 ;;
    quakeml) run quakeml "$((seconds * 5 / 8))" 32768 ;;
    stationtext) run stationtext "$((seconds * 5 / 8))" 8192 ;;
    eventtext) run eventtext "$((seconds * 5 / 8))" 8192 ;;
    *) echo "fuzz.sh: no target $t" >&2; exit 2 ;;
  esac
done
