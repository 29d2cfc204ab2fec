#include "zeva/inventory/StationXML.hpp"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string_view>
#include <unordered_map>

#include <fmt/core.h>

#include "zeva/events/ZEVALocation.hpp"
#include "zeva/inventory/ZEVAChannel.hpp"
#include "zeva/inventory/ZEVAChannelID.hpp"
#include "zeva/inventory/ZEVAFilter.hpp"
#include "zeva/inventory/ZEVAInstrumentation.hpp"
#include "zeva/inventory/ZEVAResponse.hpp"
#include "zeva/platform/Number.hpp"
#include "zeva/time/ZEVASampling.hpp"
#include "zeva/time/ZEVATimeRange.hpp"

namespace zeva {

namespace {

using namespace stationxml;

// One factor of a unit: base code, power of ten, exponent.
struct UnitFactor {
    int32_t base, power, exponent;
};

// The factors of a unit text such as "M/S**2", "NM/S/S", "COUNTS" or "HZ";
// false for a text with anything the unit model has no base for.
bool unitFactors(std::string_view text, std::vector<UnitFactor>* factors) {
    struct Known {
        std::string_view name;
        int32_t base, power, exponent;
    };
    static constexpr Known kKnown[] = {
        {"M", ZEVAUnit::kMeter, 0, 1},       {"METER", ZEVAUnit::kMeter, 0, 1},
        {"METERS", ZEVAUnit::kMeter, 0, 1},  {"METRE", ZEVAUnit::kMeter, 0, 1},
        {"METRES", ZEVAUnit::kMeter, 0, 1},  {"NM", ZEVAUnit::kMeter, -9, 1},
        {"UM", ZEVAUnit::kMeter, -6, 1},     {"MM", ZEVAUnit::kMeter, -3, 1},
        {"CM", ZEVAUnit::kMeter, -2, 1},     {"KM", ZEVAUnit::kMeter, 3, 1},
        {"S", ZEVAUnit::kSecond, 0, 1},      {"SEC", ZEVAUnit::kSecond, 0, 1},
        {"SECOND", ZEVAUnit::kSecond, 0, 1}, {"SECONDS", ZEVAUnit::kSecond, 0, 1},
        {"HZ", ZEVAUnit::kSecond, 0, -1},    {"HERTZ", ZEVAUnit::kSecond, 0, -1},
        {"COUNT", ZEVAUnit::kCount, 0, 1},   {"COUNTS", ZEVAUnit::kCount, 0, 1},
    };
    factors->clear();
    size_t i = 0;
    int sign = 1;
    bool expectFactor = true;
    auto upper = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; };
    while (i < text.size()) {
        char c = text[i];
        if (c == ' ') {
            ++i;
            continue;
        }
        if (!expectFactor) {
            if (c == '/') sign = -1;
            else if (c == '*' && (i + 1 >= text.size() || text[i + 1] != '*')) sign = 1;
            else return false;
            ++i;
            expectFactor = true;
            continue;
        }
        if (c == '1' && factors->empty()) {  // "1/S"
            ++i;
            expectFactor = false;
            continue;
        }
        size_t start = i;
        std::string name;
        while (i < text.size() && std::isalpha(static_cast<unsigned char>(text[i]))) name += upper(text[i++]);
        if (i == start) return false;
        auto known = std::find_if(std::begin(kKnown), std::end(kKnown), [&](const Known& k) { return k.name == name; });
        if (known == std::end(kKnown)) return false;
        int exponent = 1;
        if (text.substr(i, 2) == "**" || text.substr(i, 1) == "^") {
            i += text[i] == '^' ? 1 : 2;
            int negative = i < text.size() && text[i] == '-' ? (++i, -1) : 1;
            if (i >= text.size() || !std::isdigit(static_cast<unsigned char>(text[i]))) return false;
            exponent = 0;
            while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])) && exponent < 100)
                exponent = exponent * 10 + (text[i++] - '0');
            exponent *= negative;
        }
        exponent *= known->exponent * sign;
        auto same = std::find_if(factors->begin(), factors->end(), [&](const UnitFactor& f) {
            return f.base == known->base && f.power == known->power;
        });
        if (same != factors->end()) same->exponent += exponent;
        else factors->push_back({known->base, known->power, exponent});
        expectFactor = false;
    }
    return !expectFactor && !factors->empty();
}

Ref<ZEVAUnit> plainUnit(int32_t base, int32_t power, int32_t exponent) {
    auto unit = ZEVAUnit::create();
    unit->set_the_unit_base(base);
    unit->set_power(power);
    unit->set_exponent(exponent);
    unit->set_multi_factor(1.0);
    return unit;
}

// Whole points within whole seconds for a rate in hertz: 20 Hz is 20 points
// in 1 s, 0.1 Hz 1 point in 10 s, 2.5 Hz 25 points in 10 s.
void wholeRatio(double rate, double* points, double* seconds) {
    constexpr double kLimit = 2147483647.0;
    auto whole = [](double v) { return std::fabs(v - std::round(v)) <= 1e-9 * std::max(1.0, std::fabs(v)); };
    if (rate == 0) {
        *points = 0, *seconds = 1;
        return;
    }
    if (std::fabs(rate) < 1 && whole(1 / rate) && std::fabs(1 / rate) <= kLimit) {
        *points = rate > 0 ? 1 : -1, *seconds = std::fabs(std::round(1 / rate));
        return;
    }
    for (double k = 1; k <= 1e6; k *= 10) {
        double p = rate * k;
        if (std::fabs(p) > kLimit) break;
        if (whole(p)) {
            *points = std::round(p), *seconds = k;
            return;
        }
    }
    *points = rate > 0 ? 1 : -1, *seconds = std::fabs(1 / rate);
}

Ref<ZEVASampling> samplingOf(double rate) {
    if (!std::isfinite(rate)) return nullptr;
    double points = 0, seconds = 1;
    wholeRatio(rate, &points, &seconds);
    auto interval = ZEVAQuantity::create();
    interval->setTimeValue(seconds);
    auto sampling = ZEVASampling::alloc();
    sampling->set_numPoints(static_cast<int32_t>(points));
    sampling->set_interval(interval);
    return sampling;
}

Ref<ZEVAQuantity> seconds(double value) {
    auto q = ZEVAQuantity::create();
    q->setTimeValue(value);
    return q;
}

Ref<ZEVAQuantity> metres(double value) {
    auto q = ZEVAQuantity::create();
    q->setMKSLength(value);
    return q;
}

Ref<ZEVATimeRange> rangeOf(const Ref<ZEVATime>& start, const Ref<ZEVATime>& end) {
    auto range = ZEVATimeRange::alloc();
    range->set_start_time(start);
    range->set_end_time(end);
    return range;
}

Ref<String> textOrNull(const std::string& text) { return text.empty() ? nullptr : str(text); }

float largerError(const Measure& n) { return static_cast<float>(std::max(std::fabs(n.plusError), std::fabs(n.minusError))); }

class ModelBuilder : public Builder {
public:
    ModelBuilder(StationXMLInventory& into, StationXMLLevel level) : into_(into), level_(level) {}

    void network(const Network& n) override;
    void station(const Station& s) override;
    void channel(const Channel& c) override;
    void notKept(std::string_view what) override { note(what); }

private:
    void note(std::string_view what) {
        if (noted_.insert(std::string(what)).second) into_.notKept.emplace_back(what);
    }
    [[noreturn]] void fail(int line, std::string message) { throw Failure{line, std::move(message)}; }

    Ref<ZEVATime> timeOf(const Instant& instant);
    Ref<ZEVASite> siteFor(const Channel& c, const Ref<ZEVATime>& start, const Ref<ZEVATime>& end);
    Ref<ZEVAUnit> unitOf(const Units& units);
    Ref<ZEVAInstrumentation> instrumentationOf(const Channel& c, const Ref<ZEVATimeRange>& effective);
    int32_t typeOf(const Stage& s);
    Ref<ZEVAStage> stageOf(const Stage& s, int32_t type);
    template <class Hardware>
    Ref<Hardware> hardwareOf(const Equipment& e, const char* element);

    StationXMLInventory& into_;
    StationXMLLevel level_;
    std::set<std::string, std::less<>> noted_;
    std::map<std::string, Ref<ZEVAUnit>, std::less<>> units_;
    std::unordered_map<double, Ref<ZEVATime>> times_;
    Ref<ZEVAUnit> hertz_, degrees_;

    Ref<ZEVANetworkAttr> network_;
    Ref<ZEVAStation> station_;
    Ref<String> stationCode_;
    struct SiteEntry {
        std::string code;
        double latitude, longitude, elevation, depth;
        Ref<ZEVASite> site;
    };
    std::vector<SiteEntry> sites_;  // of the current station
};

// One time object per distinct instant of the document.
Ref<ZEVATime> ModelBuilder::timeOf(const Instant& instant) {
    if (!instant.present) return nullptr;
    Ref<ZEVATime>& time = times_[instant.seconds];
    if (!time) {
        time = ZEVATime::alloc();
        time->setNsDate(Date::dateWithTimeIntervalSince1970(instant.seconds));
    }
    return time;
}

void ModelBuilder::network(const Network& n) {
    auto start = timeOf(n.start);
    auto id = ZEVANetworkID::alloc();
    id->set_network_code(str(n.code));
    id->set_begin_time(start);
    network_ = ZEVANetworkAttr::alloc();
    network_->set_id(id);
    network_->set_description(textOrNull(n.description));
    network_->set_owner(textOrNull(n.operatorAgency));
    network_->set_effective_time(rangeOf(start, timeOf(n.end)));
}

void ModelBuilder::station(const Station& s) {
    auto start = timeOf(s.start);
    stationCode_ = str(s.code);
    auto id = ZEVAStationID::alloc();
    id->set_network_id(network_->_id());
    id->set_station_code(stationCode_);
    id->set_begin_time(start);
    auto location = ZEVALocation::alloc();
    location->set_latitude(static_cast<float>(s.latitude.value));
    location->set_longitude(static_cast<float>(s.longitude.value));
    location->set_elevation(metres(s.elevation.value));
    station_ = ZEVAStation::alloc();
    station_->set_id(id);
    station_->set_name(textOrNull(s.siteName));
    station_->set_my_location(location);
    station_->set_effective_time(rangeOf(start, timeOf(s.end)));
    station_->set_operator(textOrNull(s.operatorAgency));
    station_->set_description(textOrNull(s.description));
    station_->set_comment(textOrNull(s.comment));
    station_->set_my_network(network_);
    sites_.clear();
}

// The site of the channel's location code and position, made on its first
// channel and widened to span every later one.
Ref<ZEVASite> ModelBuilder::siteFor(const Channel& c, const Ref<ZEVATime>& start, const Ref<ZEVATime>& end) {
    for (auto& entry : sites_) {
        if (entry.code != c.locationCode || entry.latitude != c.latitude.value ||
            entry.longitude != c.longitude.value || entry.elevation != c.elevation.value ||
            entry.depth != c.depth.value)
            continue;
        auto range = entry.site->_effective_time();
        if (start && range->_start_time() && start->epochTime() < range->_start_time()->epochTime()) {
            range->set_start_time(start);
            entry.site->_id()->set_begin_time(start);
        }
        if (!end || (range->_end_time() && end->epochTime() > range->_end_time()->epochTime()))
            range->set_end_time(end);
        return entry.site;
    }
    auto id = ZEVASiteID::alloc();
    id->set_network_id(network_->_id());
    id->set_station_code(stationCode_);
    id->set_site_code(str(c.locationCode));
    id->set_begin_time(start);
    auto location = ZEVALocation::alloc();
    location->set_latitude(static_cast<float>(c.latitude.value));
    location->set_longitude(static_cast<float>(c.longitude.value));
    location->set_elevation(metres(c.elevation.value));
    location->set_depth(metres(c.depth.value));
    auto site = ZEVASite::alloc();
    site->set_id(id);
    site->set_my_location(location);
    site->set_effective_time(rangeOf(start, end));
    site->set_my_station(station_);
    sites_.push_back({c.locationCode, c.latitude.value, c.longitude.value, c.elevation.value, c.depth.value, site});
    return site;
}

void ModelBuilder::channel(const Channel& c) {
    auto start = timeOf(c.start), end = timeOf(c.end);
    auto effective = rangeOf(start, end);
    auto id = ZEVAChannelID::alloc();
    id->set_network_id(network_->_id());
    id->set_station_code(stationCode_);
    id->set_site_code(str(c.locationCode));
    id->set_channel_code(str(c.code));
    id->set_begin_time(start);
    auto channel = ZEVAChannel::alloc();
    channel->set_id(id);
    channel->set_name(textOrNull(c.description));
    if (c.azimuth.present || c.dip.present) {
        auto orientation = ZEVAOrientation::alloc();
        orientation->set_azimuth(static_cast<float>(c.azimuth.value));
        orientation->set_dip(static_cast<float>(c.dip.value));
        channel->set_an_orientation(orientation);
    }
    if (c.sampleRate.present) channel->set_sampling_info(samplingOf(c.sampleRate.value));
    channel->set_effective_time(effective);
    channel->set_my_site(siteFor(c, start, end));
    auto instrumentation = instrumentationOf(c, effective);
    into_.channels->addObject(channel);
    into_.instrumentation->addObject(instrumentation);
    into_.sensitivityInputUnits.push_back(c.response.sensitivityInput.name);
    into_.stageCounts.push_back(c.response.present ? static_cast<int32_t>(c.response.stages.size()) : -1);
}

Ref<ZEVAUnit> ModelBuilder::unitOf(const Units& units) {
    if (!units.present) return nullptr;
    if (!units.description.empty()) note("Units/Description");
    auto known = units_.find(units.name);
    if (known != units_.end()) return known->second;
    std::vector<UnitFactor> factors;
    Ref<ZEVAUnit> unit;
    if (!unitFactors(units.name, &factors)) {
        unit = plainUnit(-1, 0, 0);
    } else if (factors.size() == 1) {
        unit = plainUnit(factors[0].base, factors[0].power, factors[0].exponent);
    } else {
        auto elements = MutableArray::array();
        for (const auto& f : factors) elements->addObject(plainUnit(f.base, f.power, f.exponent));
        unit = plainUnit(ZEVAUnit::kComposite, 0, 1);
        unit->set_elements(elements);
    }
    unit->set_name(str(units.name));
    units_.emplace(units.name, unit);
    return unit;
}

template <class Hardware>
Ref<Hardware> ModelBuilder::hardwareOf(const Equipment& e, const char* element) {
    if (!e.present) return nullptr;
    auto hardware = Hardware::alloc();
    hardware->set_manufacturer(textOrNull(e.manufacturer.empty() ? e.vendor : e.manufacturer));
    hardware->set_model(textOrNull(e.model.empty() ? e.type : e.model));
    hardware->set_serial_number(textOrNull(e.serialNumber));
    if (!e.description.empty()) note(fmt::format("{}/Description", element));
    if (!e.vendor.empty() && !e.manufacturer.empty()) note(fmt::format("{}/Vendor", element));
    if (!e.type.empty() && !e.model.empty()) note(fmt::format("{}/Type", element));
    return hardware;
}

Ref<ZEVAInstrumentation> ModelBuilder::instrumentationOf(const Channel& c, const Ref<ZEVATimeRange>& effective) {
    auto instrumentation = ZEVAInstrumentation::alloc();
    instrumentation->set_effective_time(effective);
    instrumentation->set_the_sensor(hardwareOf<ZEVASensor>(c.sensor, "Sensor"));
    instrumentation->set_das(hardwareOf<ZEVADataAcqSys>(c.dataLogger, "DataLogger"));
    const Response& r = c.response;
    if (!r.present) return instrumentation;
    auto response = ZEVAResponse::alloc();
    if (r.hasSensitivity) {
        auto sensitivity = ZEVASensitivity::alloc();
        sensitivity->set_sensitivity_factor(static_cast<float>(r.sensitivity.value));
        sensitivity->set_frequency(static_cast<float>(r.sensitivityFrequency.value));
        response->set_the_sensitivity(sensitivity);
        if (r.sensitivityInput.present || r.sensitivityOutput.present) note("InstrumentSensitivity units");
    }
    std::vector<const Stage*> order;
    order.reserve(r.stages.size());
    for (const auto& s : r.stages) order.push_back(&s);
    std::stable_sort(order.begin(), order.end(), [](const Stage* a, const Stage* b) { return a->number < b->number; });
    // Every stage is checked at every level; only the full response builds
    // the stage objects.
    if (level_ == StationXMLLevel::Response) {
        auto stages = MutableArray::array();
        for (const Stage* s : order) stages->addObject(stageOf(*s, typeOf(*s)));
        response->set_stages(stages);
    } else {
        for (const Stage* s : order) typeOf(*s);
    }
    instrumentation->set_the_response(response);
    return instrumentation;
}

// The stage's transfer type code. Fails on a type the model does not know
// and names what the model does not keep, alike at every level.
int32_t ModelBuilder::typeOf(const Stage& s) {
    auto unknownType = [&](const char* element) {
        fail(s.line, fmt::format("Stage {}: unknown {} '{}'", s.number, element, s.transferType));
    };
    int32_t type = kTransferNone;
    switch (s.kind) {
    case StageKind::None:
        break;
    case StageKind::PolesZeros:
        if (s.transferType == "LAPLACE (RADIANS/SECOND)") type = kTransferLaplaceRadians;
        else if (s.transferType == "LAPLACE (HERTZ)") type = kTransferLaplaceHertz;
        else if (s.transferType == "DIGITAL (Z-TRANSFORM)") type = kTransferDigitalZ;
        else unknownType("PzTransferFunctionType");
        break;
    case StageKind::FIR:
        if (s.transferType == "NONE" || s.transferType.empty()) type = kTransferFIRNone;
        else if (s.transferType == "EVEN") type = kTransferFIREven;
        else if (s.transferType == "ODD") type = kTransferFIROdd;
        else unknownType("Symmetry");
        break;
    case StageKind::Coefficients:
        if (s.transferType == "ANALOG (RADIANS/SECOND)") type = kTransferAnalogRadians;
        else if (s.transferType == "ANALOG (HERTZ)") type = kTransferAnalogHertz;
        else if (s.transferType == "DIGITAL") type = kTransferDigital;
        else unknownType("CfTransferFunctionType");
        break;
    case StageKind::ResponseList:
        type = kTransferResponseList;
        break;
    case StageKind::Polynomial:
        type = kTransferPolynomial;
        note("Polynomial stages (coefficients and bounds)");
        break;
    }
    for (const Units* units : {&s.input, &s.output})
        if (units->present && !units->description.empty()) note("Units/Description");
    return type;
}

Ref<ZEVAStage> ModelBuilder::stageOf(const Stage& s, int32_t type) {
    auto stage = ZEVAStage::alloc();
    auto filters = MutableArray::array();
    auto coefficient = [](const Measure& n) {
        auto c = ZEVACoefficientErrored::alloc();
        c->set_value(static_cast<float>(n.value));
        c->set_error(largerError(n));
        return c;
    };
    switch (s.kind) {
    case StageKind::None:
        break;
    case StageKind::PolesZeros: {
        auto complexes = [](const std::vector<PoleZero>& list) {
            auto array = MutableArray::array();
            for (const auto& pz : list) {
                auto z = ZEVAComplexNumberErrored::alloc();
                z->set_real(static_cast<float>(pz.real.value));
                z->set_real_error(largerError(pz.real));
                z->set_imaginary(static_cast<float>(pz.imaginary.value));
                z->set_imaginary_error(largerError(pz.imaginary));
                array->addObject(z);
            }
            return array;
        };
        auto filter = ZEVAPoleZeroFilter::alloc();
        filter->set_poles(complexes(s.poles));
        filter->set_zeros(complexes(s.zeros));
        filters->addObject(filter);
        if (s.normalizationFactor.present || s.normalizationFrequency.present) {
            auto normalization = ZEVANormalization::alloc();
            normalization->set_ao_normalization_factor(static_cast<float>(s.normalizationFactor.value));
            normalization->set_normalization_freq(static_cast<float>(s.normalizationFrequency.value));
            stage->set_the_normalization(MutableArray::arrayWithObjects({normalization}));
        }
        break;
    }
    case StageKind::Coefficients:
    case StageKind::FIR: {
        size_t count = std::max(s.numerators.size(), s.denominators.size());
        for (size_t i = 0; i < count; ++i) {
            auto filter = ZEVACoefficientFilter::alloc();
            if (i < s.numerators.size()) filter->set_numerator(coefficient(s.numerators[i]));
            if (i < s.denominators.size()) filter->set_denominator(coefficient(s.denominators[i]));
            filters->addObject(filter);
        }
        break;
    }
    case StageKind::ResponseList: {
        if (!hertz_) {
            hertz_ = plainUnit(ZEVAUnit::kSecond, 0, -1);
            hertz_->set_name(str("HZ"));
            degrees_ = ZEVAUnit::create();
            degrees_->makeDegrees();
        }
        auto frequencies = MutableArray::array(), amplitudes = MutableArray::array(),
             amplitudeErrors = MutableArray::array(), phases = MutableArray::array(),
             phaseErrors = MutableArray::array();
        for (const auto& e : s.list) {
            frequencies->addObject(zeva::Number::numberWithDouble(e.frequency.value));
            amplitudes->addObject(zeva::Number::numberWithDouble(e.amplitude.value));
            amplitudeErrors->addObject(zeva::Number::numberWithDouble(largerError(e.amplitude)));
            phases->addObject(zeva::Number::numberWithDouble(e.phase.value));
            phaseErrors->addObject(zeva::Number::numberWithDouble(largerError(e.phase)));
        }
        auto filter = ZEVAListFilter::alloc();
        filter->set_float(frequencies);
        filter->set_frequency_unit(hertz_);
        filter->set_amplitude(amplitudes);
        filter->set_ampliutde_error(amplitudeErrors);
        filter->set_phase(phases);
        filter->set_phase_unit(degrees_);
        filter->set_phase_error(phaseErrors);
        filters->addObject(filter);
        break;
    }
    case StageKind::Polynomial:
        break;
    }
    stage->set_type(type);
    stage->set_input_units(unitOf(s.input));
    stage->set_output_units(unitOf(s.output));
    if (s.hasGain) {
        auto gain = ZEVAGain::alloc();
        gain->set_gain_factor(static_cast<float>(s.gain.value));
        gain->set_frequency(static_cast<float>(s.gainFrequency.value));
        stage->set_the_gain(gain);
    }
    if (s.hasDecimation) {
        auto decimation = ZEVADecimation::alloc();
        decimation->set_input_rate(samplingOf(s.inputSampleRate.value));
        decimation->set_factor(static_cast<int32_t>(s.factor));
        decimation->set_offset(static_cast<int32_t>(s.offset));
        decimation->set_estimated_delay(seconds(s.delay.value));
        decimation->set_correction_applied(seconds(s.correction.value));
        stage->set_the_decimation(MutableArray::arrayWithObjects({decimation}));
    }
    if (filters->count() > 0) stage->set_filters(filters);
    return stage;
}

bool finish(bool ok, StationXMLInventory* into, size_t channels, size_t notes) {
    if (ok) return true;
    while (into->channels->count() > channels) into->channels->removeObjectAtIndex(into->channels->count() - 1);
    while (into->instrumentation->count() > channels)
        into->instrumentation->removeObjectAtIndex(into->instrumentation->count() - 1);
    into->sensitivityInputUnits.resize(channels);
    into->stageCounts.resize(channels);
    into->notKept.resize(notes);
    return false;
}

}  // namespace

bool importStationXMLFile(const std::string& path, StationXMLInventory* into, Failure* failure,
                          StationXMLLevel level) {
    size_t channels = into->channels->count(), notes = into->notKept.size();
    ModelBuilder builder(*into, level);
    return finish(readFile(path, builder, failure), into, channels, notes);
}

bool importStationXMLMemory(const char* bytes, size_t length, StationXMLInventory* into, Failure* failure,
                            StationXMLLevel level) {
    size_t channels = into->channels->count(), notes = into->notKept.size();
    ModelBuilder builder(*into, level);
    return finish(readMemory(bytes, length, builder, failure), into, channels, notes);
}

bool importStationRecords(const std::function<bool(Builder&, Failure*)>& read, StationXMLInventory* into,
                          Failure* failure) {
    size_t channels = into->channels->count(), notes = into->notKept.size();
    ModelBuilder builder(*into, StationXMLLevel::Response);
    bool ok = false;
    try {
        ok = read(builder, failure);
    } catch (Failure& fromBuilder) {
        if (failure) *failure = std::move(fromBuilder);
    }
    return finish(ok, into, channels, notes);
}

}  // namespace zeva
