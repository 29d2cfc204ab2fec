#!/usr/bin/env python3
"""Generates zeva/events/flinn_engdahl_tables.cpp, the constant tables of the
Flinn-Engdahl regionalisation (1995 revision), from its tab-separated data
files.

    python3 scripts/gen_flinn_engdahl.py            # rewrite the tables
    python3 scripts/gen_flinn_engdahl.py --check    # exit 1 if they are stale
    python3 scripts/gen_flinn_engdahl.py --stdout   # print instead of writing

The data folder defaults to ../shared/data/flinn-engdahl beside the project
(override with --data DIR). Before writing anything the script checks the
structure the lookup relies on (block sizes, row layout, region coverage,
name lists) and stops with a message naming the first fault, so a damaged
or edited data file can never turn into silently wrong tables.

Standard library only.
"""

import argparse
import hashlib
import os
import sys

PROJECT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DEFAULT_DATA = os.path.join(os.path.dirname(PROJECT), "shared", "data", "flinn-engdahl")
DEFAULT_OUTPUT = os.path.join(PROJECT, "zeva", "events", "flinn_engdahl_tables.cpp")

INPUTS = ("boundaries.tsv", "geo_to_seismic.tsv", "geographic_names.tsv", "seismic_names.tsv")

NN = 757            # geographic regions
NS = 50             # seismic regions
LLN_SIZE = 6060     # triples in the boundary array, gaps included
# Zero triples after each block; with them the blocks start at 0, 1919, 3535, 4747.
GAPS = (5, 37, 51, 9)
BLOCK_SIZES = (1914, 1579, 1161, 1304)
POLE_REGION = {1: 633, 2: 633, 3: 729, 4: 729}
UNUSED = (172, 299, 550)
BLANK_WIDTH = 52    # the blank name; no real name is wider
ROW_INDEX = 92      # row_start entries per quadrant: rows 0..90 and the block end


class DataError(Exception):
    pass


def require(condition, message):
    if not condition:
        raise DataError(message)


def read_tsv(path, columns):
    """Rows of a data file as lists of fields, comments skipped."""
    rows = []
    with open(path, "rb") as f:
        raw = f.read()
    try:
        text = raw.decode("ascii")
    except UnicodeDecodeError as e:
        raise DataError(f"{path}: not plain ASCII ({e})")
    for number, line in enumerate(text.split("\n"), 1):
        if line == "" or line.startswith("#"):
            continue
        fields = line.split("\t")
        require(len(fields) == columns, f"{path}:{number}: expected {columns} fields, got {len(fields)}")
        rows.append((number, fields))
    return rows


def to_int(path, number, text):
    try:
        return int(text)
    except ValueError:
        raise DataError(f"{path}:{number}: not an integer: {text!r}")


def read_boundaries(data):
    path = os.path.join(data, "boundaries.tsv")
    blocks = {1: [], 2: [], 3: [], 4: []}
    last_quadrant = 0
    for number, fields in read_tsv(path, 4):
        q, row, lon, region = (to_int(path, number, f) for f in fields)
        require(q in blocks, f"{path}:{number}: quadrant {q} is not 1..4")
        require(q >= last_quadrant, f"{path}:{number}: quadrant {q} after quadrant {last_quadrant}")
        last_quadrant = q
        require(0 <= row <= 90, f"{path}:{number}: latitude row {row} outside 0..90")
        require(0 <= lon <= 180, f"{path}:{number}: start longitude {lon} outside 0..180")
        require(1 <= region <= NN, f"{path}:{number}: region {region} outside 1..{NN}")
        blocks[q].append((row, lon, region))
    return blocks


def check_blocks(blocks):
    for q, size in zip(range(1, 5), BLOCK_SIZES):
        block = blocks[q]
        require(len(block) == size, f"quadrant {q}: {len(block)} triples, expected {size}")
        rows = {}
        for row, lon, region in block:
            rows.setdefault(row, []).append((lon, region))
        require(sorted(rows) == list(range(91)), f"quadrant {q}: rows are not exactly 0..90")
        require([t[0] for t in block] == sorted(t[0] for t in block), f"quadrant {q}: rows not ascending")
        for row, cells in rows.items():
            starts = [lon for lon, _ in cells]
            require(all(a < b for a, b in zip(starts, starts[1:])),
                    f"quadrant {q} row {row}: start longitudes not strictly ascending")
            regions = [r for _, r in cells]
            require(all(a != b for a, b in zip(regions, regions[1:])),
                    f"quadrant {q} row {row}: neighbouring triples share a region")
            if row < 90:
                require(starts[0] == 0, f"quadrant {q} row {row}: does not start at longitude 0")
        require(rows[90] == [(180, POLE_REGION[q])],
                f"quadrant {q}: row 90 is not the single triple (90, 180, {POLE_REGION[q]})")
        require(rows[89][-1][1] == POLE_REGION[q],
                f"quadrant {q}: last triple of row 89 is not region {POLE_REGION[q]}")
    used = {region for block in blocks.values() for _, _, region in block}
    missing = sorted(set(range(1, NN + 1)) - used)
    require(missing == list(UNUSED), f"regions missing from the boundaries: {missing}, expected {list(UNUSED)}")


def read_numbered(path, count, value):
    entries = {}
    for number, (key, text) in read_tsv(path, 2):
        k = to_int(path, number, key)
        require(1 <= k <= count, f"{path}:{number}: number {k} outside 1..{count}")
        require(k not in entries, f"{path}:{number}: number {k} repeated")
        entries[k] = value(path, number, text)
    require(len(entries) == count, f"{path}: {len(entries)} entries, expected {count}")
    return [None] + [entries[k] for k in range(1, count + 1)]


def name_value(path, number, text):
    require(text != "" and text == text.strip(), f"{path}:{number}: empty name or blanks around it")
    require('"' not in text and "\\" not in text, f"{path}:{number}: name holds a quote or backslash")
    require(all(32 <= ord(c) < 127 for c in text), f"{path}:{number}: name holds a control character")
    require(len(text) <= BLANK_WIDTH, f"{path}:{number}: name longer than {BLANK_WIDTH} characters")
    return text


def read_tables(data):
    blocks = read_boundaries(data)
    check_blocks(blocks)
    nsreg = read_numbered(os.path.join(data, "geo_to_seismic.tsv"), NN,
                          lambda p, n, t: to_int(p, n, t))
    require(all(1 <= s <= NS for s in nsreg[1:]), "geo_to_seismic.tsv: seismic number outside 1..50")
    require(set(nsreg[1:]) == set(range(1, NS + 1)), "geo_to_seismic.tsv: not every seismic region occurs")
    greg = read_numbered(os.path.join(data, "geographic_names.tsv"), NN, name_value)
    sreg = read_numbered(os.path.join(data, "seismic_names.tsv"), NS, name_value)
    unused = [k for k in range(1, NN + 1) if greg[k].endswith("(REGION NOT IN USE)")]
    require(unused == list(UNUSED), f"names marked (REGION NOT IN USE): {unused}, expected {list(UNUSED)}")
    require(all(s == s.upper() for s in sreg[1:]), "seismic_names.tsv: names are not in capitals")
    return blocks, nsreg, greg, sreg


def c_string(text):
    return '"' + text + '"'


def render(data, blocks, nsreg, greg, sreg):
    digests = []
    for name in INPUTS:
        with open(os.path.join(data, name), "rb") as f:
            digests.append(f"//   {hashlib.sha256(f.read()).hexdigest()}  {name}")

    ind, num, row_start = [0], [0], [[0] * 92]
    lines = []
    position = 0
    for q in range(1, 5):
        block = blocks[q]
        ind.append(position)
        num.append(len(block))
        starts = [0] * 92
        lines.append(f"    // quadrant {q}, entries {position}..{position + len(block) - 1}")
        row = -1
        cells = []
        for i, (r, lon, region) in enumerate(block):
            if r != row:
                if cells:
                    lines.extend(wrap(cells, row))
                row, cells = r, []
                starts[r] = position + i
            cells.append(f"{{{r}, {lon}, {region}}}")
        lines.extend(wrap(cells, row))
        position += len(block)
        starts[91] = position
        row_start.append(starts)
        gap = GAPS[q - 1]
        lines.append(f"    // {gap} zero triples")
        lines.extend(wrap(["{0, 0, 0}"] * gap, None))
        position += gap
    require(position == LLN_SIZE, f"boundary array has {position} entries, expected {LLN_SIZE}")

    out = []
    out.append("// GENERATED FILE - do not edit by hand.")
    out.append("//")
    out.append("// Flinn-Engdahl regionalisation, 1995 revision: boundary triples, the")
    out.append("// geographic-to-seismic map and both name lists, generated by")
    out.append("// scripts/gen_flinn_engdahl.py from these data files of")
    out.append("// ../shared/data/flinn-engdahl (SHA-256):")
    out.extend(digests)
    out.append("//")
    out.append("// Regenerate from the project folder with:")
    out.append("//     python3 scripts/gen_flinn_engdahl.py")
    out.append("// Corrections belong in the data files, never in this file.")
    out.append("")
    out.append('#include "zeva/events/flinn_engdahl_internal.hpp"')
    out.append("")
    out.append("namespace zeva::fe {")
    out.append("")
    out.append("const int32_t ind[5] = {" + ", ".join(map(str, ind)) + "};")
    out.append("const int32_t num[5] = {" + ", ".join(map(str, num)) + "};")
    out.append("")
    out.append("// Index of the first triple of each latitude row 0..90 per quadrant; entry 91")
    out.append("// is one past the block's last triple. Derived from lln by the generator.")
    out.append(f"const int16_t row_start[5][{ROW_INDEX}] = {{")
    for q, starts in enumerate(row_start):
        out.append(f"    {{  // quadrant {q}" + (" (unused)" if q == 0 else ""))
        out.extend("    " + line for line in wrap([str(s) for s in starts], None, per_line=16))
        out.append("    }" + ("," if q < 4 else ""))
    out.append("};")
    out.append("")
    out.append(f"const int16_t lln[{LLN_SIZE}][3] = {{")
    out.extend(lines)
    out.append("};")
    out.append("")
    out.append(f"const int16_t nsreg[{NN + 2}] = {{")
    out.extend(wrap([str(s) for s in [0] + nsreg[1:] + [0]], None, per_line=20))
    out.append("};")
    out.append("")
    out.append(f"const char blank_name[{BLANK_WIDTH + 1}] = {c_string(' ' * BLANK_WIDTH)};")
    out.append("")
    out.append(f"const char* const greg[{NN + 1}] = {{")
    out.append("    blank_name,")
    out.extend(f"    {c_string(name)},  // {k}" for k, name in enumerate(greg) if k)
    out.append("};")
    out.append("")
    out.append(f"const char* const sreg[{NS + 1}] = {{")
    out.append("    blank_name,")
    out.extend(f"    {c_string(name)},  // {k}" for k, name in enumerate(sreg) if k)
    out.append("};")
    out.append("")
    out.append("}  // namespace zeva::fe")
    out.append("")
    return "\n".join(out)


def wrap(cells, row, per_line=6):
    """Table cells, a fixed number per line, each line ending in a comma."""
    lines = []
    for i in range(0, len(cells), per_line):
        chunk = ", ".join(cells[i:i + per_line]) + ","
        if row is not None and i == 0:
            chunk += f"  // row {row}"
        lines.append("    " + chunk)
    return lines


def main():
    parser = argparse.ArgumentParser(description="Generate the Flinn-Engdahl tables.")
    parser.add_argument("--data", default=DEFAULT_DATA, help="folder of the .tsv data files")
    parser.add_argument("--output", default=DEFAULT_OUTPUT, help="generated C++ source to write")
    mode = parser.add_mutually_exclusive_group()
    mode.add_argument("--check", action="store_true", help="exit 1 when --output differs from a fresh run")
    mode.add_argument("--stdout", action="store_true", help="print the source instead of writing it")
    args = parser.parse_args()

    try:
        for name in INPUTS:
            if not os.path.isfile(os.path.join(args.data, name)):
                raise DataError(f"{os.path.join(args.data, name)}: missing")
        text = render(args.data, *read_tables(args.data))
    except (DataError, OSError) as e:
        print(f"gen_flinn_engdahl: {e}", file=sys.stderr)
        return 2

    if args.stdout:
        sys.stdout.write(text)
        return 0
    if args.check:
        try:
            with open(args.output, encoding="ascii") as f:
                current = f.read()
        except OSError as e:
            print(f"gen_flinn_engdahl: {e}", file=sys.stderr)
            return 1
        if current != text:
            print(f"gen_flinn_engdahl: {args.output} is stale; rerun the generator", file=sys.stderr)
            return 1
        return 0
    with open(args.output, "w", encoding="ascii", newline="\n") as f:
        f.write(text)
    return 0


if __name__ == "__main__":
    sys.exit(main())
