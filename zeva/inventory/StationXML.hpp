// Station inventories from FDSN StationXML documents: networks, stations,
// sites, channel epochs and their instrumentation, built from the records of
// the streaming reader (StationXMLReader.hpp).
//
// What goes where:
//   Network      ZEVANetworkAttr: ZEVANetworkID (code, start), description,
//                owner (first operator agency), effective time.
//   Station      ZEVAStation: ZEVAStationID (sharing the network's
//                identifier), name (site name), location (latitude,
//                longitude, elevation in metres, no depth), effective time,
//                operator (first agency), description, comment (first
//                comment's value), network.
//   Location     ZEVASite, one per location code of a station and position:
//                an epoch standing elsewhere than the earlier ones of its
//                code starts another site of that code, so no position is
//                lost. Location: the channel's latitude, longitude,
//                elevation and depth (metres); effective time: from the
//                earliest start to the latest end of its channels (open when
//                one of them is open); identifier begin time: that start.
//   Channel      ZEVAChannel: ZEVAChannelID (four codes, start), name (the
//                channel's description), orientation (azimuth, dip; none
//                when the document gives neither), sampling (the sample rate
//                as whole points per whole seconds: 20 Hz is 20 points in
//                1 s, 0.1 Hz 1 point in 10 s), effective time, site.
//   Response     ZEVAInstrumentation per channel epoch, in the same order:
//                ZEVAResponse (sensitivity value and frequency; stages in
//                stage-number order), the channel's effective time, sensor
//                and data logger as ZEVASensor and ZEVADataAcqSys
//                (manufacturer or else vendor, model or else type, serial
//                number).
//   Stage        ZEVAStage: transfer type code (kTransfer* below), input and
//                output units, gain, normalisation (poles and zeros' A0 and
//                frequency), decimation (input rate as a sampling, factor,
//                offset, delay and correction in seconds), filters:
//                PolesZeros  one ZEVAPoleZeroFilter of ZEVAComplexNumberErrored
//                            (error: the larger of plus and minus error)
//                Coefficients, FIR  one ZEVACoefficientFilter per numerator
//                            with the denominator of the same place or none
//                            (and one per denominator beyond the numerators)
//                ResponseList  one ZEVAListFilter (frequencies in HZ,
//                            amplitudes, phases in degrees, their errors)
//                Polynomial  the stage with its units and gain; its
//                            coefficients have no place and are noted.
//   Units        ZEVAUnit named with the document's text. Metres, seconds,
//                counts and hertz, with prefixes (NM, MM, CM, KM) and powers
//                (M/S**2, M/S/S), also carry the base code, power of ten and
//                exponent; a product of several becomes a composite with one
//                element each. Any other unit (V, PA, ...) has base code -1.
//                One unit object per distinct text and document, shared.
//
// Everything else (identifiers, comments after the first, equipment dates,
// data availability, polynomial coefficients, errors of positions, ...) is
// named once per document in notKept.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "zeva/inventory/StationXMLReader.hpp"
#include "zeva/platform/Collections.hpp"

namespace zeva {

// Transfer-function type codes of the stages built here.
enum StationXMLTransferType : int32_t {
    kTransferNone = 0,              // no filter: a gain (and decimation) only
    kTransferLaplaceRadians = 1,    // poles and zeros, LAPLACE (RADIANS/SECOND)
    kTransferLaplaceHertz = 2,      // poles and zeros, LAPLACE (HERTZ)
    kTransferDigitalZ = 3,          // poles and zeros, DIGITAL (Z-TRANSFORM)
    kTransferAnalogRadians = 4,     // coefficients, ANALOG (RADIANS/SECOND)
    kTransferAnalogHertz = 5,       // coefficients, ANALOG (HERTZ)
    kTransferDigital = 6,           // coefficients, DIGITAL
    kTransferFIRNone = 7,           // FIR, no symmetry: every coefficient given
    kTransferFIREven = 8,           // FIR, even symmetry: the first half given
    kTransferFIROdd = 9,            // FIR, odd symmetry: the first half and the middle given
    kTransferResponseList = 10,     // a list of amplitudes and phases
    kTransferPolynomial = 11,       // a polynomial (its coefficients not kept)
};

// How much of each channel epoch an import builds, after the web services'
// level parameter. Channel: the channels, their sites and stations, the
// instrumentation's equipment and a response holding only the overall
// sensitivity (no stage objects; their count is in stageCounts). Response:
// everything, every stage with its filters. Both levels read and check the
// whole document alike: they fail on the same documents with the same
// reason and name the same things in notKept.
enum class StationXMLLevel { Channel, Response };

struct StationXMLInventory {
    Ref<MutableArray> channels = MutableArray::array();         // ZEVAChannel, document order
    Ref<MutableArray> instrumentation = MutableArray::array();  // ZEVAInstrumentation, same order
    // The sensitivity's input unit as the document writes it, per channel
    // ("" when there is none); the sensitivity itself keeps no units.
    std::vector<std::string> sensitivityInputUnits;
    // The number of response stages per channel, -1 for a channel without
    // a response; the same at every level.
    std::vector<int32_t> stageCounts;
    // What the model has no place for, each named once per document.
    std::vector<std::string> notKept;
};

// Appends the document's channel epochs to *into. False with the reason in
// *failure (line 0 when no line applies); the channels of the failed
// document that were already appended are removed again.
bool importStationXMLFile(const std::string& path, StationXMLInventory* into, stationxml::Failure* failure,
                          StationXMLLevel level = StationXMLLevel::Response);
bool importStationXMLMemory(const char* bytes, size_t length, StationXMLInventory* into,
                            stationxml::Failure* failure, StationXMLLevel level = StationXMLLevel::Response);
// Runs `read` with the builder of the imports above, so that a reader of
// another format hands over the same records and gets the same networks,
// stations, sites and channels; on failure the channels are removed again.
bool importStationRecords(const std::function<bool(stationxml::Builder&, stationxml::Failure*)>& read,
                          StationXMLInventory* into, stationxml::Failure* failure);

}  // namespace zeva
