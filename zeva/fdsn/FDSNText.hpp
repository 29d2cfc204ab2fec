// The pipe-separated text tables of the FDSN web services.
//
// Station tables (format=text) at network, station or channel level, known
// by their column count (5, 8 or 17), are handed to a stationxml::Builder
// as the same records a StationXML document of the same stations gives:
// a network per code, a station per network and station code (at channel
// level its position is that of its first channel), a channel per row with
// position, depth, azimuth, dip, sample rate, sensor description and
// sensitivity (scale, its frequency and input unit). The location code is
// kept as written ("  " stays two blanks, as StationXML keeps it).
//
// Event tables have 13 columns: EventID | Time | Latitude | Longitude |
// Depth/km | Author | Catalog | Contributor | ContributorID | MagType |
// Magnitude | MagAuthor | EventLocationName. Each row becomes a ZEVAOrigin:
// id, time (to the microsecond), position, depth in km, catalog (Catalog,
// else Author), contributor (Contributor, else Author), its magnitude when
// given (type, value, MagAuthor else the contributor) and setFERegion.
//
// Lines starting with '#' are headers; blank lines are skipped. A row with
// another number of columns, or a column that is not the number or time it
// must be, fails with its line and column name.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "zeva/inventory/StationXMLReader.hpp"
#include "zeva/platform/Collections.hpp"

namespace zeva::fdsntext {

struct Failure {
    int line = 0;
    std::string message;
};

// Hands the table's records to the builder; false with the reason.
bool readStationTable(std::string_view text, stationxml::Builder& builder, stationxml::Failure* failure);

// Appends one ZEVAOrigin per row to *origins; false with the reason (rows
// before the failure stay).
bool readEventTable(std::string_view text, MutableArray& origins, Failure* failure);

}  // namespace zeva::fdsntext
