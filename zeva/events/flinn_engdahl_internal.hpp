// Inside view of the Flinn-Engdahl lookup: the constant tables (generated
// into flinn_engdahl_tables.cpp by scripts/gen_flinn_engdahl.py) and the two
// interchangeable block searches behind fe_lookup. Not installed API: tests
// and benchmarks use it to hold the fast search to the plain scan.
#pragma once

#include <cstdint>

namespace zeva::fe {

inline constexpr int nn = 757;              // geographic regions 1..nn
inline constexpr int seismic_count = 50;    // seismic regions 1..50
inline constexpr int not_found = nn + 1;    // the geographic region of "no region"
inline constexpr int32_t date = 1995;       // revision of the tables
inline constexpr int lln_size = 6060;       // triples, zero gaps between blocks included
inline constexpr int blank_width = 52;

// Boundary triples {latitude row, start longitude, region}, four blocks (one per
// quadrant, 1 = NE, 2 = NW, 3 = SW, 4 = SE), each sorted by row, then start.
extern const int16_t lln[lln_size][3];
// First triple and triple count of each block, indexed by quadrant (entry 0 unused).
extern const int32_t ind[5];
extern const int32_t num[5];
// row_start[q][r]: first triple of latitude row r (0..90) of block q;
// row_start[q][91] is one past the block's last triple.
extern const int16_t row_start[5][92];
// Seismic region of each geographic region; entries 0 and 758 are 0.
extern const int16_t nsreg[nn + 2];
// 52 spaces: the name of "no region" in both name tables.
extern const char blank_name[blank_width + 1];
extern const char* const greg[nn + 1];              // greg[0] == blank_name
extern const char* const sreg[seismic_count + 1];   // sreg[0] == blank_name

// Quadrant 1..4 picked by the hemisphere letters or, both blank, by the signs;
// 0 when none is picked.
int quadrantOf(float latitude, char latitude_hemisphere, float longitude, char longitude_hemisphere);

// Magnitude of a finite value truncated to whole degrees (45.99 and -45.99
// give 45). Magnitudes from 32768 up give 32768: beyond every table value,
// so the result of a search does not change, and the conversion stays defined.
int wholeDegrees(float value);

// The region of whole-degree magnitudes (both 0 or more) in block `quadrant`
// (1..4), or 0 when the block has no such row. Anything else gives 0.
// searchLinear walks the block from its first triple: the reference.
// searchIndexed jumps to the row through row_start and bisects it; it gives
// the same answer for every input.
int searchLinear(int quadrant, int latitude_degrees, int longitude_degrees);
int searchIndexed(int quadrant, int latitude_degrees, int longitude_degrees);

using BlockSearch = int (*)(int quadrant, int latitude_degrees, int longitude_degrees);

// The geographic region fe_lookup answers (1..758), computed with `search`;
// `entry_region` is the value passed in, kept when no quadrant is picked.
// fe_lookup itself uses searchIndexed.
int geographicRegion(float latitude, char latitude_hemisphere, float longitude, char longitude_hemisphere,
                     int entry_region, BlockSearch search);

}  // namespace zeva::fe
