"""Writes the large StationXML document bench_stationxml builds in memory:
1,000 stations in 20 networks, each filled with <Channel> elements of the
shared documents (plain ASCII ones only) until it holds some 20 KB.

    python3 big_stationxml.py SHARED_DATA_DIR OUT.xml
"""
import sys
from pathlib import Path

STATIONS, PER_NETWORK, STATION_BYTES = 1000, 50, 20000
NAMES = ["IU_ANMO_BH.xml", "DK.BSD..BHZ.xml", "G_CAN__LHZ.xml", "BW_GR_misc.xml",
         "IRIS_single_channel_with_response.xml"]


def templates(shared):
    out = []
    for name in NAMES:
        text = (Path(shared) / "stationxml" / name).read_bytes().decode("latin-1")
        at = text.find("<Channel ")
        while at != -1:
            end = text.find("</Channel>", at)
            if end == -1:
                break
            channel = text[at:end + 10]
            if all(ord(c) < 0x80 for c in channel):
                out.append(channel)
            at = text.find("<Channel ", at + 1)
    return out


def main():
    shared, target = sys.argv[1], sys.argv[2]
    chans = templates(shared)
    if not chans:
        sys.exit("no channel templates in " + shared)
    parts = ['<?xml version="1.0" encoding="UTF-8"?>\n'
             '<FDSNStationXML xmlns="http://www.fdsn.org/xml/station/1" '
             'xmlns:iris="http://www.fdsn.org/xml/station/1/iris" schemaVersion="1.1">\n'
             ' <Source>zeva benchmark</Source>\n <Created>2024-01-01T00:00:00</Created>\n']
    nxt = 0
    for s in range(STATIONS):
        if s % PER_NETWORK == 0:
            if s > 0:
                parts.append(" </Network>\n")
            n = s // PER_NETWORK
            parts.append(f' <Network code="N{n}" startDate="1990-01-01T00:00:00">\n'
                         f'  <Description>Benchmark network {n}</Description>\n')
        station = [f'  <Station code="S{s:04d}" startDate="2000-01-01T00:00:00">\n'
                   f'   <Latitude>{-60.0 + s % 120:.4f}</Latitude>\n   <Longitude>{-170.0 + s % 340:.4f}</Longitude>\n'
                   f'   <Elevation>{100 + s % 2000}.0</Elevation>\n   <Site><Name>Station {s}</Name></Site>\n']
        size = len(station[0])
        while size < STATION_BYTES:
            piece = "   " + chans[nxt % len(chans)] + "\n"
            nxt += 1
            station.append(piece)
            size += len(piece)
        station.append("  </Station>\n")
        parts.extend(station)
    parts.append(" </Network>\n</FDSNStationXML>\n")
    Path(target).write_text("".join(parts), encoding="ascii")


main()
