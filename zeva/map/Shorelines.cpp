#include "zeva/map/Shorelines.hpp"

#include <netcdf.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <type_traits>

namespace zeva::map {

namespace {

// Segment words of shoreline files: entry side in bits 0-2, exit side in
// bits 3-5, level in bits 6-8, point count above. Side 4 means the segment
// is a closed ring that touches no side.
constexpr int kClosed = 4;
int entrySide(int32_t info) { return info & 7; }
int exitSide(int32_t info) { return (info >> 3) & 7; }
int segmentLevelOf(int32_t info) { return (info >> 6) & 7; }
int64_t pointCountOf(int32_t info) { return static_cast<uint32_t>(info) >> 9; }

// A point's fraction of the bin's side: the stored 16 bits read unsigned.
double fraction(int16_t v) { return static_cast<uint16_t>(v) / 65535.0; }

struct Bin {
    double west, south, size;
    GeoPoint at(double u, double v) const { return {west + u * size, south + v * size}; }
};

bool checkLayout(const BinnedTables& t, std::string& error) {
    if (t.binMinutes <= 0 || 21600 % t.binMinutes != 0 || t.binsAcross != 21600 / t.binMinutes ||
        t.binsDown != 10800 / t.binMinutes) {
        error = "the bin size (" + std::to_string(t.binMinutes) + " minutes) and the bin counts (" +
                std::to_string(t.binsAcross) + " by " + std::to_string(t.binsDown) + ") do not tile the globe";
        return false;
    }
    size_t bins = static_cast<size_t>(t.binsAcross) * static_cast<size_t>(t.binsDown);
    if (t.binFirstSegment.size() != bins || t.binSegmentCount.size() != bins) {
        error = "the bin tables do not hold " + std::to_string(bins) + " bins";
        return false;
    }
    if (t.pointLon.size() != t.pointLat.size()) {
        error = "the longitude and latitude tables differ in length";
        return false;
    }
    return true;
}

Bin binAt(const BinnedTables& t, size_t b) {
    double size = t.binMinutes / 60.0;
    auto row = static_cast<double>(b / static_cast<size_t>(t.binsAcross));
    auto col = static_cast<double>(b % static_cast<size_t>(t.binsAcross));
    double west = col * size;
    if (west >= 180.0) west -= 360.0;
    return {west, 90.0 - (row + 1.0) * size, size};
}

// The segments of bin b, checked against the segment table.
bool segmentRange(const BinnedTables& t, size_t b, size_t segments, size_t& first, size_t& count,
                  std::string& error) {
    int64_t f = t.binFirstSegment[b], n = t.binSegmentCount[b];
    if (f < 0 || n < 0 || static_cast<uint64_t>(f + n) > segments) {
        error = "bin " + std::to_string(b) + " names segments outside the segment table";
        return false;
    }
    first = static_cast<size_t>(f);
    count = static_cast<size_t>(n);
    return true;
}

// The points of a segment in unit bin coordinates (u east, v north).
bool segmentPoints(const BinnedTables& t, size_t s, int64_t count, std::vector<std::pair<double, double>>& out,
                   std::string& error) {
    int64_t first = t.segmentFirstPoint[s];
    if (first < 0 || count < 0 || static_cast<uint64_t>(first + count) > t.pointLon.size()) {
        error = "segment " + std::to_string(s) + " names points outside the point table";
        return false;
    }
    out.clear();
    out.reserve(static_cast<size_t>(count));
    for (int64_t i = first; i < first + count; ++i)
        out.emplace_back(fraction(t.pointLon[static_cast<size_t>(i)]), fraction(t.pointLat[static_cast<size_t>(i)]));
    return true;
}

// Where a point on the bin's sides lies along them, counter-clockwise from
// the south-west corner: south side 0-1, east 1-2, north 2-3, west 3-4.
double perimeter(double u, double v) {
    double south = v, east = 1.0 - u, north = 1.0 - v, west = u;
    double nearest = std::min({south, east, north, west});
    if (nearest == south) return u;
    if (nearest == east) return 1.0 + v;
    if (nearest == north) return 2.0 + (1.0 - u);
    return 3.0 + (1.0 - v);
}

constexpr std::pair<double, double> kCorners[4] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};  // at 0, 1, 2, 3

void setBounds(MapArea& area) {
    area.west = area.south = std::numeric_limits<double>::infinity();
    area.east = area.north = -std::numeric_limits<double>::infinity();
    for (const auto& p : area.ring) {
        area.west = std::min(area.west, p.lon);
        area.east = std::max(area.east, p.lon);
        area.south = std::min(area.south, p.lat);
        area.north = std::max(area.north, p.lat);
    }
}

struct Piece {
    std::vector<std::pair<double, double>> points;
    double in, out;  // perimeter positions of the first and last point
    bool used = false;
};

// Joins the open pieces of one level into rings: from a piece's last point
// along the sides to the next piece's first point, taking the corners passed
// on the way. Shorelines keep the higher level on their left when it is
// land (odd levels) and on their right when it is water, so the walk along
// the sides goes counter-clockwise for odd levels and clockwise for even.
void closePieces(std::vector<Piece>& pieces, int level, const Bin& bin, MapLayer& layer) {
    const bool counterClockwise = level % 2 == 1;
    // How far along the sides, in the walk's direction, from a to b.
    auto ahead = [&](double a, double b) { return std::fmod((counterClockwise ? b - a : a - b) + 8.0, 4.0); };
    for (size_t start = 0; start < pieces.size(); ++start) {
        if (pieces[start].used) continue;
        MapArea area;
        area.level = level;
        size_t at = start;
        // Each step uses one piece, so the walk ends within pieces.size() steps.
        for (size_t step = 0; step <= pieces.size(); ++step) {
            Piece& piece = pieces[at];
            piece.used = true;
            for (const auto& [u, v] : piece.points) area.ring.push_back(bin.at(u, v));
            size_t next = start;
            double best = std::numeric_limits<double>::infinity();
            for (size_t j = 0; j < pieces.size(); ++j) {
                if (pieces[j].used && j != start) continue;
                double distance = ahead(piece.out, pieces[j].in);
                if (distance < best) {
                    best = distance;
                    next = j;
                }
            }
            for (int k = 0; k < 4; ++k) {
                double corner = counterClockwise ? std::floor(piece.out) + 1 + k : std::ceil(piece.out) - 1 - k;
                double distance = ahead(piece.out, corner);
                if (distance == 0.0 || distance >= best) continue;
                const auto& [u, v] = kCorners[static_cast<int>(std::fmod(corner + 8.0, 4.0))];
                area.ring.push_back(bin.at(u, v));
            }
            if (next == start) break;
            at = next;
        }
        setBounds(area);
        layer.areas.push_back(std::move(area));
    }
}

}  // namespace

int MapLayer::levelAt(double lon, double lat) const {
    for (auto it = areas.rbegin(); it != areas.rend(); ++it) {
        const auto& a = *it;
        if (lon < a.west || lon > a.east || lat < a.south || lat > a.north) continue;
        bool inside = false;
        for (size_t i = 0, j = a.ring.size() - 1; i < a.ring.size(); j = i++) {
            const auto& p = a.ring[i];
            const auto& q = a.ring[j];
            if ((p.lat > lat) != (q.lat > lat) && lon < (q.lon - p.lon) * (lat - p.lat) / (q.lat - p.lat) + p.lon)
                inside = !inside;
        }
        if (inside) return a.level;
    }
    return -1;
}

bool decodeShorelines(const BinnedTables& t, MapLayer& layer, std::string& error) {
    layer = {};
    if (!checkLayout(t, error)) return false;
    size_t segments = t.segmentInfo.size();
    if (t.segmentFirstPoint.size() != segments || t.binNodeLevels.size() != t.binFirstSegment.size() ||
        (!t.segmentAntarctic.empty() && t.segmentAntarctic.size() != segments)) {
        error = "the segment and bin tables differ in length";
        return false;
    }
    MapLayer out;
    out.binDegrees = t.binMinutes / 60.0;
    std::vector<std::pair<double, double>> points;
    for (size_t b = 0; b < t.binFirstSegment.size(); ++b) {
        size_t first = 0, count = 0;
        if (!segmentRange(t, b, segments, first, count, error)) return false;
        Bin bin = binAt(t, b);
        std::vector<Piece> pieces[5];
        std::vector<MapArea> rings;
        int lowestCrossing = 5;
        for (size_t s = first; s < first + count; ++s) {
            int32_t info = t.segmentInfo[s];
            int level = segmentLevelOf(info);
            if (!segmentPoints(t, s, pointCountOf(info), points, error)) return false;
            if (points.size() < 2 || level < 1 || level > 4) continue;
            MapLine line{level, {}};
            for (const auto& [u, v] : points) line.points.push_back(bin.at(u, v));
            out.lines.push_back(std::move(line));
            if (entrySide(info) == kClosed || exitSide(info) == kClosed) {
                MapArea ring{level, out.lines.back().points};
                setBounds(ring);
                rings.push_back(std::move(ring));
                continue;
            }
            Piece piece{points, perimeter(points.front().first, points.front().second),
                        perimeter(points.back().first, points.back().second)};
            pieces[level].push_back(std::move(piece));
            lowestCrossing = std::min(lowestCrossing, level);
        }
        // The bin's ground: below the lowest crossing shoreline, else what
        // its corners lie in.
        int corners = t.binNodeLevels[b];
        int ground = 7;
        for (int k = 0; k < 4; ++k) ground = std::min(ground, (corners >> (3 * k)) & 7);
        if (lowestCrossing < 5) ground = lowestCrossing - 1;
        MapArea base{std::min(ground, 4), {bin.at(0, 0), bin.at(1, 0), bin.at(1, 1), bin.at(0, 1)}};
        setBounds(base);
        out.areas.push_back(std::move(base));
        for (int level = 1; level <= 4; ++level) {
            closePieces(pieces[level], level, bin, out);
            for (auto& ring : rings)
                if (ring.level == level) out.areas.push_back(std::move(ring));
        }
    }
    layer = std::move(out);
    return true;
}

bool decodeBorders(const BinnedTables& t, MapLayer& layer, std::string& error) {
    layer = {};
    if (!checkLayout(t, error)) return false;
    size_t segments = t.segmentPointCount.size();
    if (t.segmentFirstPoint.size() != segments || t.segmentLevel.size() != segments) {
        error = "the segment tables differ in length";
        return false;
    }
    MapLayer out;
    out.binDegrees = t.binMinutes / 60.0;
    std::vector<std::pair<double, double>> points;
    for (size_t b = 0; b < t.binFirstSegment.size(); ++b) {
        size_t first = 0, count = 0;
        if (!segmentRange(t, b, segments, first, count, error)) return false;
        Bin bin = binAt(t, b);
        for (size_t s = first; s < first + count; ++s) {
            if (!segmentPoints(t, s, t.segmentPointCount[s], points, error)) return false;
            if (points.size() < 2) continue;
            MapLine line{t.segmentLevel[s], {}};
            for (const auto& [u, v] : points) line.points.push_back(bin.at(u, v));
            out.lines.push_back(std::move(line));
        }
    }
    layer = std::move(out);
    return true;
}

// ------------------------------------------------------------------ netCDF

namespace {

class NcFile {
public:
    explicit NcFile(const std::string& path) { status_ = nc_open(path.c_str(), NC_NOWRITE, &id_); }
    ~NcFile() {
        if (status_ == NC_NOERR) nc_close(id_);
    }
    NcFile(const NcFile&) = delete;
    NcFile& operator=(const NcFile&) = delete;
    int status() const { return status_; }

    // A one-dimensional variable of any length, converted by libnetcdf.
    template <typename T>
    bool read(const char* name, std::vector<T>& out, std::string& why) const {
        int var = 0, dims = 0, dim[NC_MAX_VAR_DIMS];
        if (nc_inq_varid(id_, name, &var) != NC_NOERR || nc_inq_varndims(id_, var, &dims) != NC_NOERR ||
            dims != 1 || nc_inq_vardimid(id_, var, dim) != NC_NOERR) {
            why = std::string("it has no one-dimensional variable ") + name;
            return false;
        }
        size_t length = 0;
        if (nc_inq_dimlen(id_, dim[0], &length) != NC_NOERR) {
            why = std::string("the length of ") + name + " cannot be read";
            return false;
        }
        out.assign(length, T{});
        if (length == 0) return true;
        int status = NC_NOERR;
        if constexpr (std::is_same_v<T, int32_t>)
            status = nc_get_var_int(id_, var, out.data());
        else if constexpr (std::is_same_v<T, int16_t>)
            status = nc_get_var_short(id_, var, out.data());
        else
            status = nc_get_var_schar(id_, var, reinterpret_cast<signed char*>(out.data()));
        if (status != NC_NOERR) {
            why = std::string(name) + ": " + nc_strerror(status);
            return false;
        }
        return true;
    }
    bool scalar(const char* name, int32_t& value, std::string& why) const {
        std::vector<int32_t> v;
        if (!read(name, v, why)) return false;
        if (v.size() != 1) {
            why = std::string(name) + " holds " + std::to_string(v.size()) + " values, not one";
            return false;
        }
        value = v[0];
        return true;
    }

private:
    int id_ = -1;
    int status_ = NC_NOERR;
};

}  // namespace

bool readBinnedTables(const std::string& path, bool borders, BinnedTables& t, std::string& error) {
    t = {};
    NcFile file(path);
    if (file.status() != NC_NOERR) {
        error = path + ": " + (file.status() == ENOENT ? std::string("no such file") : nc_strerror(file.status()));
        return false;
    }
    std::string why;
    bool ok = file.scalar("Bin_size_in_minutes", t.binMinutes, why) &&
              file.scalar("N_bins_in_360_longitude_range", t.binsAcross, why) &&
              file.scalar("N_bins_in_180_degree_latitude_range", t.binsDown, why) &&
              file.read("Id_of_first_segment_in_a_bin", t.binFirstSegment, why) &&
              file.read("N_segments_in_a_bin", t.binSegmentCount, why) &&
              file.read("Id_of_first_point_in_a_segment", t.segmentFirstPoint, why) &&
              file.read("Relative_longitude_from_SW_corner_of_bin", t.pointLon, why) &&
              file.read("Relative_latitude_from_SW_corner_of_bin", t.pointLat, why);
    if (ok && borders)
        ok = file.read("N_points_for_a_segment", t.segmentPointCount, why) &&
             file.read("Hierarchial_level_of_a_segment", t.segmentLevel, why);
    else if (ok)
        ok = file.read("Embedded_node_levels_in_a_bin", t.binNodeLevels, why) &&
             file.read("Embedded_npts_levels_exit_entry_for_a_segment", t.segmentInfo, why) &&
             file.read("Embedded_ANT_flag", t.segmentAntarctic, why);
    if (!ok) error = path + ": not a binned " + (borders ? "border" : "shoreline") + " file: " + why;
    return ok;
}

std::string shorelineDirectory() {
    const char* dir = std::getenv("ZEVA_GSHHG_DIR");
    return dir && *dir ? dir : "/usr/share/gmt-gshhg";
}

std::string shorelineFile(const std::string& directory, Resolution resolution, bool borders) {
    const char* letter = resolution == Resolution::Crude ? "c" : resolution == Resolution::Low ? "l" : "i";
    return directory + (borders ? "/binned_border_" : "/binned_GSHHS_") + letter + ".nc";
}

bool loadLayer(const std::string& directory, Resolution resolution, bool borders, MapLayer& layer,
               std::string& error) {
    BinnedTables tables;
    std::string path = shorelineFile(directory, resolution, borders);
    if (!readBinnedTables(path, borders, tables, error)) return false;
    bool ok = borders ? decodeBorders(tables, layer, error) : decodeShorelines(tables, layer, error);
    if (!ok) error = path + ": " + error;
    return ok;
}

}  // namespace zeva::map
