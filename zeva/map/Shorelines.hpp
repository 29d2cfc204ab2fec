// Coastlines, lakes and national borders for maps, from the binned netCDF
// files of the GSHHG data set that Debian ships for its mapping tools
// (package gmt-gshhg-low: /usr/share/gmt-gshhg/binned_GSHHS_{c,l,i}.nc and
// binned_border_{c,l,i}.nc).
//
// The files cut the world into square bins (20 degrees at crude resolution,
// 10 at low, 5 at intermediate), counted west to east from longitude 0 and
// north to south from latitude 90. A bin lists its segments; a segment lists
// its points as 16-bit fractions of the bin's side from its south-west
// corner. A shoreline segment is either a closed ring inside the bin or an
// open piece that enters the bin through one side and leaves it through
// another; such pieces are closed into areas by walking along the bin's
// sides, and the four corners' levels give the level of a bin that no
// shoreline crosses. Levels: 0 sea, 1 land, 2 lake, 3 island in a lake,
// 4 pond on such an island.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zeva::map {

struct GeoPoint {
    double lon = 0.0;  // degrees east, -180 to 180
    double lat = 0.0;  // degrees north
};

// The variables of one binned file, as read and before any check.
// Shoreline files fill segmentInfo (point count, level, exit and entry side
// packed in one number) and segmentAntarctic (which marks Antarctica's
// segments; all of them are drawn, the coast being its ice front); border files fill
// segmentPointCount and segmentLevel instead.
struct BinnedTables {
    int32_t binMinutes = 0;
    int32_t binsAcross = 0;
    int32_t binsDown = 0;
    std::vector<int32_t> binFirstSegment;
    std::vector<int16_t> binSegmentCount;
    std::vector<int16_t> binNodeLevels;
    std::vector<int32_t> segmentInfo;
    std::vector<int8_t> segmentAntarctic;
    std::vector<int16_t> segmentPointCount;
    std::vector<int16_t> segmentLevel;
    std::vector<int32_t> segmentFirstPoint;
    std::vector<int16_t> pointLon;
    std::vector<int16_t> pointLat;
};

// A closed ring painted in one level's colour.
struct MapArea {
    int level = 0;
    std::vector<GeoPoint> ring;
    double west = 0, east = 0, south = 0, north = 0;  // the ring's bounds
};

// A line drawn as it is: a stretch of coast or border.
struct MapLine {
    int level = 0;
    std::vector<GeoPoint> points;
};

struct MapLayer {
    // In painting order: each bin's ground first, then its areas by level.
    std::vector<MapArea> areas;
    std::vector<MapLine> lines;
    double binDegrees = 0.0;

    // The level the painted areas give a point: the last area holding it;
    // -1 where none does (a layer of lines only, or nothing read).
    int levelAt(double lon, double lat) const;
};

enum class Resolution { Crude, Low, Intermediate };

// Decoding the tables; false with a reason when they disagree with each
// other (counts, indices or bin layout), leaving layer empty.
bool decodeShorelines(const BinnedTables& tables, MapLayer& layer, std::string& error);
bool decodeBorders(const BinnedTables& tables, MapLayer& layer, std::string& error);

// Reading a file's variables with libnetcdf; false with a reason naming the
// file when it is missing, not netCDF or lacks a variable.
bool readBinnedTables(const std::string& path, bool borders, BinnedTables& tables, std::string& error);

// $ZEVA_GSHHG_DIR when set, else /usr/share/gmt-gshhg.
std::string shorelineDirectory();
std::string shorelineFile(const std::string& directory, Resolution resolution, bool borders);

// Reads and decodes one file of the directory.
bool loadLayer(const std::string& directory, Resolution resolution, bool borders, MapLayer& layer,
               std::string& error);

}  // namespace zeva::map
