// Earthquake catalogues in QuakeML (BED 1.2, and the older 1.0 layout) read
// into origins, by a streaming reader on libxml2's xmlTextReader: one event
// is held at a time, never a document tree.
//
// Each event becomes one ZEVAOrigin, from its preferred origin (or, without
// one, its first):
//   _origin_time     origin/time/value, to the microsecond
//   location         origin/latitude, origin/longitude; origin/depth in
//                    metres becomes kilometres (no depth: 0)
//   _magnitudes      every magnitude of the event, the preferred one first,
//                    then the others in document order:
//                    addMagnitude_Type_Contrib(mag/value, type, contributor),
//                    the contributor being the magnitude's creation-info
//                    author, else its agency, else the origin's contributor
//   _catalog         the origin's iris:catalog or catalog:eventsource (else
//                    the event's), else its creation-info agency
//   _contributor     the origin's iris:contributor or catalog:datasource
//                    (else the event's), else its creation-info author,
//                    else its agency
//   _id              catalog:eventsource + catalog:eventid when the event
//                    has both ("ci37285320"), else the value of "eventid=" (any case)
//                    in its publicID, else the publicID
//   region           setFERegion from the epicentre
// An event without any origin has no place in the model: it is counted in
// eventsWithoutOrigin and left out.
//
// Safety: as for StationXML, no network access, no DTD loading, no entity
// substitution, libxml2's default limits; a document type declaration is
// refused. Errors name the element and line.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "zeva/events/ZEVAOrigin.hpp"
#include "zeva/platform/Collections.hpp"

namespace zeva::quakeml {

struct Failure {
    int line = 0;  // 0 when no line applies
    std::string message;
};

struct Catalogue {
    Ref<MutableArray> origins = MutableArray::array();  // ZEVAOrigin, document order
    size_t events = 0;                                    // events read, with or without origin
    size_t eventsWithoutOrigin = 0;
};

// Appends the document's origins to *into; false with the reason in
// *failure (origins of events read before the failure stay).
bool readFile(const std::string& path, Catalogue* into, Failure* failure);
bool readMemory(const char* bytes, size_t length, Catalogue* into, Failure* failure);

}  // namespace zeva::quakeml
