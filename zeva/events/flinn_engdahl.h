/* Flinn-Engdahl regionalisation, 1995 revision: a position to its geographic
 * region (1..757) and seismic region (1..50), and region numbers to names.
 * Both functions only read constant tables and may be called from any thread. */
#ifndef ZEVA_EVENTS_FLINN_ENGDAHL_H
#define ZEVA_EVENTS_FLINN_ENGDAHL_H

#ifdef __cplusplus
extern "C" {
#endif

/* Finds the regions of a position given in degrees.
 *
 * With both hemisphere letters blank (' ') the signs pick the quadrant, north
 * and east positive (zero and -0 count as positive). Otherwise the letters
 * alone pick it, case-insensitively: 'N'/'S' with 'E'/'W'; any other pair,
 * one blank letter included, picks none, and *geographic_region keeps its
 * value on entry. The position is taken in whole degrees of its magnitude;
 * longitudes are not wrapped (a magnitude above 180 takes the row's last
 * boundary).
 *
 * *geographic_region is 758 when nothing is found: latitude magnitude 91 or
 * more, a latitude or longitude that is not finite (when a quadrant is
 * picked), or an entry value outside 1..757 kept for want of a quadrant.
 * *seismic_region is always written: the seismic region of the geographic
 * one, 0 for 758. Null pointers are allowed and simply not written. */
void fe_lookup(float latitude, char latitude_hemisphere, float longitude, char longitude_hemisphere,
               int* geographic_region, int* seismic_region);

/* Names of a geographic region and a seismic region. When *seismic_region is
 * 0 or less on entry and the geographic region is 1..757, it is first filled
 * with that region's seismic region; a positive value stays as it is. A
 * number out of range (758 included) gets the blank name, 52 spaces. Names
 * are static constants: never free them. Null pointers are allowed. */
void fe_region(int geographic_region, const char** geographic_name, int* seismic_region,
               const char** seismic_name);

#ifdef __cplusplus
}
#endif

#endif
