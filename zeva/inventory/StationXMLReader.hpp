// Streaming reader of FDSN StationXML documents (schema 1.0, 1.1 and 1.2,
// with or without the default namespace) on libxml2's xmlTextReader.
//
// The reader never builds a document tree. It fills one plain record at a
// time (a network, a station, a channel epoch with its whole response) and
// hands it to a builder, so memory follows what the builder keeps, not the
// size of the document. A network is handed over when its first station
// begins (or at its end), a station when its first channel begins.
//
// Safety: no network access, no DTD loading, no entity substitution, the
// parser's default size limits (no huge-document mode). A document with a
// document type declaration is refused outright: StationXML has none, and
// that is where entity bombs and external entities live.
//
// Elements and attributes the records have no place for are reported to the
// builder by name ("Channel/ClockDrift", "Station@restrictedStatus"), each
// once per document.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zeva::stationxml {

// A number as the document gives it, with its optional errors (0 when absent).
struct Measure {
    double value = 0;
    double plusError = 0;
    double minusError = 0;
    bool present = false;
};

// An instant as seconds since 1970-01-01T00:00:00 UTC.
struct Instant {
    double seconds = 0;
    bool present = false;
};

struct Units {
    std::string name;
    std::string description;
    bool present = false;
};

struct PoleZero {
    long number = 0;
    Measure real, imaginary;
};

struct ListElement {
    Measure frequency, amplitude, phase;
};

enum class StageKind { None, PolesZeros, Coefficients, ResponseList, FIR, Polynomial };

struct Stage {
    long number = 0;
    int line = 0;
    StageKind kind = StageKind::None;
    Units input, output;
    // PzTransferFunctionType, CfTransferFunctionType or the FIR's Symmetry.
    std::string transferType;
    Measure normalizationFactor, normalizationFrequency;
    std::vector<PoleZero> zeros, poles;
    std::vector<Measure> numerators, denominators;  // FIR coefficients are numerators
    std::vector<ListElement> list;
    bool hasDecimation = false;
    Measure inputSampleRate, delay, correction;
    long factor = 0, offset = 0;
    bool hasGain = false;
    Measure gain, gainFrequency;
};

struct Equipment {
    bool present = false;
    std::string type, description, manufacturer, vendor, model, serialNumber;
};

struct Response {
    bool present = false;
    bool hasSensitivity = false;
    Measure sensitivity, sensitivityFrequency;
    Units sensitivityInput, sensitivityOutput;
    std::vector<Stage> stages;  // in document order
};

struct Network {
    int line = 0;
    std::string code, description, operatorAgency;
    Instant start, end;
};

struct Station {
    int line = 0;
    std::string code, siteName, description, operatorAgency, comment;
    Instant start, end;
    Measure latitude, longitude, elevation;
};

struct Channel {
    int line = 0;
    std::string code, locationCode, description;
    Instant start, end;
    Measure latitude, longitude, elevation, depth, azimuth, dip, sampleRate;
    Equipment sensor, dataLogger;
    Response response;
};

// Receives the records in document order. A builder may throw
// stationxml::Failure to stop the reading with an error of its own.
class Builder {
public:
    virtual ~Builder() = default;
    virtual void network(const Network& network) = 0;
    virtual void station(const Station& station) = 0;
    virtual void channel(const Channel& channel) = 0;
    // An element or attribute that no record keeps, once per document.
    virtual void notKept(std::string_view what) { (void)what; }
};

struct Failure {
    int line = 0;  // 0 when no line applies (a file that cannot be opened)
    std::string message;
};

// Reads the document; false with the reason in *failure when it is not
// well-formed, not StationXML, or has an element the records cannot take
// (a number that is not a number, a missing required element, a negative
// count). Records handed over before the failure stay with the builder.
bool readFile(const std::string& path, Builder& builder, Failure* failure);
bool readMemory(const char* bytes, size_t length, Builder& builder, Failure* failure);

// Seconds since 1970 of an xs:dateTime text ("2008-06-30T20:00:00",
// "...:00.1234Z", "...+02:00") or a bare date; false when it is not one.
bool parseInstant(std::string_view text, double* seconds);

}  // namespace zeva::stationxml
